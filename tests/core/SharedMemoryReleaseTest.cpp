// What a shared block gives back. If these fail, a client that opens many instances runs out of descriptors,
// or of addresses.

#include "core/SharedMemory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace base::core {
namespace {

/// Mappings of this process that lead to shared memory.
int countMappings() {
    std::ifstream maps("/proc/self/maps");
    int count = 0;
    for (std::string line; std::getline(maps, line);)
        count += line.find("/dev/shm/") != std::string::npos ? 1 : 0;
    return count;
}

int countDescriptors() {
    int count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
        ++count;
    return count;
}

} // namespace

TEST(SharedMemoryReleaseTest, BothSidesGiveTheirMappingAndTheirDescriptorBack) {
    const int mappings = countMappings();
    const int descriptors = countDescriptors();
    Ref<SharedMemory> owner = SharedMemory::create("release", 4096);
    Ref<SharedMemory> other = SharedMemory::open("release", 4096);
    EXPECT_EQ(countMappings(), mappings + 2);
    other = nullptr;
    EXPECT_EQ(countMappings(), mappings + 1);
    EXPECT_LE(countDescriptors(), descriptors + 1);
    owner = nullptr;
    EXPECT_EQ(countMappings(), mappings);
    EXPECT_EQ(countDescriptors(), descriptors);
}

} // namespace base::core
