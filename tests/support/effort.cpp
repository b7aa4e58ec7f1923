#include "support/effort.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace zelsr::test {
namespace {

bool environment_is(const char* name, std::string_view value)
{
    const char* found = std::getenv(name);
    return found != nullptr && value == found;
}

std::uint32_t choose_seed()
{
    const char* given = std::getenv("ZELSR_TEST_SEED");
    const std::uint32_t seed =
        given != nullptr ? static_cast<std::uint32_t>(std::strtoul(given, nullptr, 10)) : std::random_device{}();
    std::printf("random seed %u (ZELSR_TEST_SEED=%u repeats this run)\n", seed, seed);
    return seed;
}

}  // namespace

bool thin_effort()
{
    static const bool thin = environment_is("ZELSR_TEST_EFFORT", "thin");
    return thin;
}

bool under_valgrind()
{
    static const bool valgrind = environment_is("ZELSR_TEST_UNDER", "valgrind");
    return valgrind;
}

std::mt19937& generator()
{
    static std::mt19937 instance{choose_seed()};
    return instance;
}

std::vector<int> lengths(int widest_block)
{
    std::vector<int> all;
    for (int length = 1; length <= 2 * widest_block + 3; ++length) {
        const int from_multiple = length % widest_block;
        if (thin_effort() && length > 5 && from_multiple > 1 && from_multiple < widest_block - 1) continue;
        all.push_back(length);
    }
    return all;
}

}  // namespace zelsr::test
