#include "support/guarded.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <map>

#include "support/effort.h"

namespace zelsr::test {
namespace {

constexpr std::byte kCanary{0xa5};

std::size_t page_size()
{
    static const std::size_t size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return size;
}

// Regions are kept for the next array of their size: mapping costs far more than a test's own work.
std::multimap<std::size_t, std::byte*>& free_regions()
{
    static std::multimap<std::size_t, std::byte*> regions;
    return regions;
}

// payload bytes that may be touched, a forbidden page on either side; the payload's address.
std::byte* take_region(std::size_t payload)
{
    if (auto found = free_regions().find(payload); found != free_regions().end()) {
        std::byte* region = found->second;
        free_regions().erase(found);
        return region;
    }
    const std::size_t page = page_size();
    void* map = mmap(nullptr, payload + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (map == MAP_FAILED) std::abort();
    std::byte* region = static_cast<std::byte*>(map) + page;
    if (mprotect(region, payload, PROT_READ | PROT_WRITE) != 0) std::abort();
    return region;
}

// Word by word: most of a test's time goes by here.
bool all_canaries(const std::byte* from, const std::byte* to)
{
    constexpr std::uint64_t eight_canaries = 0x0101010101010101u * static_cast<std::uint64_t>(kCanary);
    for (std::uint64_t word; to - from >= 8; from += 8) {
        std::memcpy(&word, from, 8);
        if (word != eight_canaries) return false;
    }
    for (; from != to; ++from)
        if (*from != kCanary) return false;
    return true;
}

}  // namespace

std::vector<Placement> placements(std::size_t element_size)
{
    std::vector<Placement> all;
    for (Edge edge : {Edge::Front, Edge::Back}) {
        for (int misalign = 0; misalign < 16; ++misalign) {
            const bool whole = misalign % static_cast<int>(element_size) == 0;
            const bool odd = misalign == 1 || misalign == 7;
            if (!whole && !odd) continue;
            if (thin_effort() && misalign != 0 && misalign != 7 && misalign != static_cast<int>(element_size))
                continue;
            all.push_back({misalign, edge});
        }
    }
    return all;
}

std::string describe(const Placement& placement)
{
    return std::to_string(placement.misalign) + " bytes off 16, at the " +
           (placement.edge == Edge::Front ? "front" : "back");
}

GuardedBytes::GuardedBytes(std::size_t bytes, Placement placement) : bytes_(bytes)
{
    const std::size_t page = page_size();
    payload_ = (bytes + 32 + page - 1) / page * page;
    region_ = take_region(payload_);
    std::memset(region_, static_cast<int>(kCanary), payload_);
    const std::size_t misalign = static_cast<std::size_t>(placement.misalign);
    if (placement.edge == Edge::Front) {
        array_ = region_ + misalign;
    } else {
        std::byte* last = region_ + payload_ - bytes;
        const std::size_t above = reinterpret_cast<std::uintptr_t>(last) % 16;
        array_ = last - (above + 16 - misalign) % 16;
    }
}

GuardedBytes::~GuardedBytes() { free_regions().emplace(payload_, region_); }

bool GuardedBytes::intact() const
{
    return all_canaries(region_, array_) && all_canaries(array_ + bytes_, region_ + payload_);
}

}  // namespace zelsr::test
