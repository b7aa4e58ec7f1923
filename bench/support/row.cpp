#include "support/row.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>

#include "support/report.h"

namespace zelsr::bench {
namespace {

// A batch is shorter than a slice of the scheduler and thousands of times the clock's step.
constexpr double batch_ns = 100e3;
constexpr int rounds = 201;

double timed(const std::function<void(std::int64_t)>& call, std::int64_t calls)
{
    const auto start = std::chrono::steady_clock::now();
    call(calls);
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
}

// Calls that fill a batch; finding out warms caches and predictors.
std::int64_t calls_a_batch(const std::function<void(std::int64_t)>& call)
{
    std::int64_t calls = 1;
    while (timed(call, calls) < batch_ns / 2 && calls < (std::int64_t(1) << 30)) calls *= 2;
    return calls;
}

double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

template <class T>
std::string difference(const T* a, const T* b, std::size_t count, double tolerance)
{
    double scale = 1;
    if constexpr (std::is_floating_point_v<T>) {
        scale = 0;
        for (std::size_t i = 0; i < count; ++i) scale = std::max(scale, std::abs(static_cast<double>(a[i])));
    }
    for (std::size_t i = 0; i < count; ++i)
        if (a[i] != b[i] &&
            !(std::abs(static_cast<double>(a[i]) - static_cast<double>(b[i])) <= tolerance * scale))
            return "element " + std::to_string(i) + ": " + std::to_string(a[i]) + " and " + std::to_string(b[i]);
    return {};
}

}  // namespace

std::string first_difference(const float* a, const float* b, std::size_t count, double tolerance)
{
    return difference(a, b, count, tolerance);
}
std::string first_difference(const double* a, const double* b, std::size_t count, double tolerance)
{
    return difference(a, b, count, tolerance);
}
std::string first_difference(const std::int16_t* a, const std::int16_t* b, std::size_t count, double tolerance)
{
    return difference(a, b, count, tolerance);
}
std::string first_difference(const std::int32_t* a, const std::int32_t* b, std::size_t count, double tolerance)
{
    return difference(a, b, count, tolerance);
}
std::string first_difference(const std::int64_t* a, const std::int64_t* b, std::size_t count, double tolerance)
{
    return difference(a, b, count, tolerance);
}
std::string first_difference(const std::uint8_t* a, const std::uint8_t* b, std::size_t count, double tolerance)
{
    return difference(a, b, count, tolerance);
}

std::string Size::text() const
{
    return height > 0 ? std::to_string(width) + "x" + std::to_string(height) : std::to_string(width);
}

void Row::registers(double count, Operations each)
{
    needs_ = {.loads = count * each.loads,
              .stores = count * each.stores,
              .multiplies = count * each.multiplies,
              .adds = count * each.adds,
              .divides = count * each.divides,
              .double_divides = count * each.double_divides,
              .double_roots = count * each.double_roots};
    limit_known_ = true;
}

// Blocks start at different offsets within a page: stores and loads whose addresses agree in the low twelve bits
// would be taken for overlapping by many processors.
void* Row::bytes(std::size_t count)
{
    constexpr std::size_t page = 4096, line = 64;
    const std::size_t offset = (blocks_.size() * 17 + 1) * line % page;
    blocks_.emplace_back(new unsigned char[count + 2 * page]());
    const auto address = reinterpret_cast<std::uintptr_t>(blocks_.back().get());
    return blocks_.back().get() + ((page - address % page) % page + offset);
}

Result Row::measure(benchmark::State& state)
{
    Result result;
    result.size = size.text();
    result.reason = reason_;
    result.seconds_of_sound = seconds_of_sound_;
    for (const Contender& contender : contenders_) contender.call(1);
    for (const Contender& contender : contenders_)
        if (std::string differs = contender.differs(contenders_.front()); !differs.empty())
            result.disagreement = contender.name + ", " + differs;
    if (!result.disagreement.empty()) {
        state.SkipWithError(("answers differ: " + result.disagreement).c_str());
        return result;
    }

    std::vector<std::int64_t> calls;
    for (const Contender& contender : contenders_) calls.push_back(calls_a_batch(contender.call));
    std::vector<std::vector<double>> ns(contenders_.size());
    std::vector<double> slow;
    rates_per_ns();
    for (auto _ : state) {
        for (std::size_t k = 0; k < contenders_.size(); ++k)
            ns[k].push_back(timed(contenders_[k].call, calls[k]) / static_cast<double>(calls[k]));
        slow.push_back(slowness());
        state.SetIterationTime(ns[0].back() * 1e-9);
    }

    result.ns = median(ns[0]);
    result.ns_an_element = result.ns / size.elements();
    for (std::size_t k = 1; k < contenders_.size(); ++k) {
        std::vector<double> ratios;
        for (std::size_t i = 0; i < ns[k].size(); ++i) ratios.push_back(ns[k][i] / ns[0][i]);
        if (contenders_[k].name == "plain")
            result.plain_ratio = median(ratios);
        else
            result.peers.push_back({contenders_[k].name, median(ratios)});
        state.counters["vs " + contenders_[k].name] = median(ratios);
    }
    if (limit_known_) {
        const Bound bound = bound_of(needs_);
        result.of_limit = bound.ns * median(slow) / result.ns;
        result.limiting = bound.operation;
    }
    state.counters["library_ns"] = result.ns;
    return result;
}

Table::Table(const char* family, std::initializer_list<Member> members, std::initializer_list<Size> sizes)
{
    for (const Member& member : members)
        for (const Size& size : sizes) {
            const std::string name = std::string(family) + "/" + member.name + "/" + size.text();
            const auto run = [family, member, size, name](benchmark::State& state) {
                Row row(size);
                member.build(row);
                Result result = row.measure(state);
                result.family = family;
                result.member = member.name;
                keep_result(name, result);
            };
            benchmark::RegisterBenchmark(name.c_str(), run)->UseManualTime()->Iterations(rounds);
        }
}

}  // namespace zelsr::bench
