#include "support/hooks.h"

#include <cstdlib>

#include "zelsr/core/memory.h"

namespace zelsr::test {
namespace {

struct Record {
    int refuse = 0;
    int live = 0;
    std::vector<std::size_t> sizes;
};
Record record;
void* (*former_malloc)(std::size_t);
void (*former_free)(void*);

void* watched_malloc(std::size_t bytes)
{
    record.sizes.push_back(bytes);
    if (static_cast<int>(record.sizes.size()) == record.refuse) return nullptr;
    ++record.live;
    return std::malloc(bytes);
}

void watched_free(void* block)
{
    if (block != nullptr) --record.live;
    std::free(block);
}

}  // namespace

AllocatorWatch::AllocatorWatch(int refuse)
{
    record = {};
    record.refuse = refuse;
    former_malloc = i_malloc;
    former_free = i_free;
    i_malloc = watched_malloc;
    i_free = watched_free;
}

AllocatorWatch::~AllocatorWatch()
{
    i_malloc = former_malloc;
    i_free = former_free;
}

int AllocatorWatch::requests() const { return static_cast<int>(record.sizes.size()); }
const std::vector<std::size_t>& AllocatorWatch::sizes() const { return record.sizes; }
int AllocatorWatch::live() const { return record.live; }

void expect_survives_refusals(const std::function<SrStatus()>& call, const std::vector<GuardedBytes*>& outputs)
{
    for (GuardedBytes* output : outputs) output->take_snapshot();
    int blocks = 0;
    {
        AllocatorWatch watch;
        EXPECT_GE(call(), 0);
        EXPECT_EQ(watch.live(), 0) << "a block was left allocated after success";
        blocks = watch.requests();
    }
    EXPECT_GE(blocks, 1) << "the call asks for no memory";
    for (GuardedBytes* output : outputs) output->take_snapshot();
    for (int refused = 1; refused <= blocks; ++refused) {
        AllocatorWatch watch(refused);
        EXPECT_EQ(call(), SrErrMemAlloc) << "block " << refused << " refused";
        EXPECT_EQ(watch.live(), 0) << "left allocated when block " << refused << " was refused";
        for (GuardedBytes* output : outputs)
            EXPECT_TRUE(output->as_snapshot()) << "output written when block " << refused << " was refused";
    }
}

}  // namespace zelsr::test
