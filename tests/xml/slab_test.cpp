#include "xml/slab.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

namespace NS_UTIL {
namespace {

constexpr std::size_t MANY = 20000;  // fill several slabs

/// Objects of the sizes that a tree has, each filled with a byte of its own.
std::vector<unsigned char*> TakeMany(std::size_t nCount)
{
    std::vector<unsigned char*> objects;
    objects.reserve(nCount);
    for (std::size_t i = 0; i < nCount; ++i) {
        const std::size_t nSize = 24 + i % 3 * 32;
        auto* const pObject = static_cast<unsigned char*>(TakeFromSlab(nSize));
        std::memset(pObject, static_cast<int>(i % 251), nSize);
        objects.push_back(pObject);
    }
    return objects;
}

void ExpectUntouched(const std::vector<unsigned char*>& objects)
{
    for (std::size_t i = 0; i < objects.size(); ++i) {
        const std::size_t nSize = 24 + i % 3 * 32;
        const std::vector<unsigned char> expected(nSize, static_cast<unsigned char>(i % 251));
        ASSERT_EQ(std::memcmp(objects[i], expected.data(), nSize), 0) << i;
    }
}

void GiveAll(const std::vector<unsigned char*>& objects)
{
    for (unsigned char* pObject : objects) GiveToSlab(pObject);
}

TEST(SlabTest, ObjectsDoNotOverlap)
{
    const std::vector<unsigned char*> objects = TakeMany(MANY);
    ExpectUntouched(objects);
    GiveAll(objects);
}

TEST(SlabTest, ObjectsAreAlignedForPointersWhateverTheirSize)
{
    std::vector<void*> objects;
    for (std::size_t nSize = 1; nSize < 100; ++nSize) objects.push_back(TakeFromSlab(nSize));
    for (void* pObject : objects) {
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(pObject) % alignof(void*), 0U);
        GiveToSlab(pObject);
    }
}

TEST(SlabTest, NullIsNothingToGiveBack)
{
    EXPECT_NO_FATAL_FAILURE(GiveToSlab(nullptr));
}

TEST(SlabTest, OneObjectKeepsItsSlabWhenAllItsNeighboursAreGone)
{
    std::vector<unsigned char*> objects = TakeMany(MANY);
    const std::size_t nKept = MANY / 2;
    for (std::size_t i = 0; i < MANY; ++i) {
        if (i != nKept) GiveToSlab(objects[i]);
    }
    EXPECT_EQ(*objects[nKept], nKept % 251);
    GiveToSlab(objects[nKept]);
}

TEST(SlabTest, ObjectsOutliveTheThreadThatTookThem)
{
    std::vector<unsigned char*> objects;
    std::thread([&objects] { objects = TakeMany(MANY); }).join();
    ExpectUntouched(objects);
    GiveAll(objects);
}

TEST(SlabTest, OtherThreadsMayGiveBackWhileTheFirstGoesOnTaking)
{
    for (int nRound = 0; nRound < 4; ++nRound) {
        const std::vector<unsigned char*> objects = TakeMany(MANY);
        std::thread other([&objects] { GiveAll(objects); });
        const std::vector<unsigned char*> more = TakeMany(MANY);
        other.join();
        ExpectUntouched(more);
        GiveAll(more);
    }
}

}  // namespace
}  // namespace NS_UTIL
