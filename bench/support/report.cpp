#include "support/report.h"

#include <zelsr/core/vector.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>

#include "support/peers.h"

namespace zelsr::bench {
namespace {

// Below this a row counts as behind, and says why.
constexpr double level = 0.97;

std::map<std::string, Result>& results()
{
    static std::map<std::string, Result> kept;
    return kept;
}

std::string ratio_text(double ratio)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", ratio);
    return text;
}

std::string limit_text(const Result& result)
{
    if (result.of_limit <= 0) return "";
    char text[32];
    std::snprintf(text, sizeof text, "%3.0f %% %s", 100 * result.of_limit, result.limiting.c_str());
    return text;
}

// What a call across the library's boundary costs that ends at its first check.
double refused_call_ns()
{
    using Clock = std::chrono::steady_clock;
    constexpr int calls = 10000;
    double best = 1e9;
    for (int attempt = 0; attempt < 30; ++attempt) {
        const auto start = Clock::now();
        for (int i = 0; i < calls; ++i) benchmark::DoNotOptimize(zelsAddC_32f(nullptr, 0.0F, nullptr, 1));
        best = std::min(best, std::chrono::duration<double, std::nano>(Clock::now() - start).count() / calls);
    }
    return best;
}

}  // namespace

void keep_result(const std::string& benchmark, const Result& result) { results()[benchmark] = result; }

std::string TableReporter::reason_mark(const std::string& reason)
{
    if (reason.empty()) return " [?]";
    auto found = std::find(reasons_.begin(), reasons_.end(), reason);
    if (found == reasons_.end()) found = reasons_.insert(reasons_.end(), reason);
    return " [" + std::to_string(found - reasons_.begin() + 1) + "]";
}

bool TableReporter::ReportContext(const Context&)
{
    const Operations& rates = rates_per_ns();
    std::printf("peers: %s\n", peers_in_use().c_str());
    std::printf(
        "16-byte operations a ns: load %.1f, store %.1f, mul %.1f, add %.1f, div %.2f (doubles %.2f), sqrt of "
        "doubles %.2f\n",
        rates.loads, rates.stores, rates.multiplies, rates.adds, rates.divides, rates.double_divides,
        rates.double_roots);
    std::printf("a call that ends at its first check: %.1f ns\n", refused_call_ns());
    return true;
}

void TableReporter::ReportRuns(const std::vector<Run>& runs)
{
    for (const Run& run : runs) {
        const auto found = results().find(run.run_name.function_name);
        if (found == results().end()) continue;
        const Result& result = found->second;
        if (result.family != family_) {
            family_ = result.family;
            std::printf("\n%-42s %8s %10s %8s %-10s %7s %7s  %s\n", family_.c_str(), "size", "ns/call", "ns/elem",
                        "limit", "xplain", "xpeer", "peer");
        }
        ++rows_;
        if (!result.disagreement.empty()) {
            ++failures_;
            std::printf("%-42s %8s answers differ: %s\n", result.member.c_str(), result.size.c_str(),
                        result.disagreement.c_str());
            continue;
        }
        const bool behind_plain = result.plain_ratio > 0 && result.plain_ratio < level;
        bool behind_peer = false;
        for (const Result::Peer& peer : result.peers) behind_peer = behind_peer || peer.ratio < level;
        behind_plain_ += behind_plain;
        behind_peers_ += behind_peer;
        const std::string mark = behind_plain || behind_peer ? reason_mark(result.reason) : "";

        std::printf("%-42s %8s %10.1f %8.3f %-10s %7s", result.member.c_str(), result.size.c_str(), result.ns,
                    result.ns_an_element, limit_text(result).c_str(),
                    (result.plain_ratio > 0 ? ratio_text(result.plain_ratio) : "").c_str());
        bool first = true;
        for (const Result::Peer& peer : result.peers) {
            if (!first) std::printf("\n%-42s %8s %10s %8s %-10s %7s", "", "", "", "", "", "");
            std::printf(" %7s  %s%s", ratio_text(peer.ratio).c_str(), peer.name.c_str(),
                        first ? mark.c_str() : "");
            first = false;
        }
        if (result.peers.empty()) std::printf(" %7s %s", "", mark.c_str());
        std::printf("\n");
        if (result.seconds_of_sound > 0)
            std::printf("%-42s %8s %.0f frames a second, %.0f times faster than real time\n", "", "",
                        1e9 / result.ns, result.seconds_of_sound * 1e9 / result.ns);
        std::fflush(stdout);
    }
}

void TableReporter::Finalize()
{
    std::printf("\n");
    for (std::size_t k = 0; k < reasons_.size(); ++k) std::printf("[%zu] %s\n", k + 1, reasons_[k].c_str());
    std::printf("\n%d rows: %d behind plain, %d behind a peer, %d with answers that differ\n", rows_,
                behind_plain_, behind_peers_, failures_);
}

}  // namespace zelsr::bench
