#include "error/reasontable.h"

#include <gtest/gtest.h>

#include <map>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "support/heapwatch.h"

namespace NS_UTIL {
namespace {

TEST(ReasonTableTest, EmptyTableHoldsNothing)
{
    const ReasonTable table;
    for (const unsigned long nCode : {0UL, 1UL, ~0UL}) EXPECT_EQ(table.Find(nCode), nullptr);
}

TEST(ReasonTableTest, ReasonIsFoundUnderItsCodeAloneAndIsReplaced)
{
    ReasonTable table;
    table.Set(0, "");
    table.Set(5, "five");
    table.Set(5, "five again");
    ASSERT_NE(table.Find(0), nullptr) << "an empty reason is one";
    EXPECT_EQ(*table.Find(0), "");
    EXPECT_EQ(*table.Find(5), "five again");
    EXPECT_EQ(table.Find(6), nullptr);
}

/// Codes as they come: in a row, in steps, in a few bits, anywhere.
std::vector<unsigned long> Codes(int nKind)
{
    std::mt19937_64 random(static_cast<unsigned int>(nKind));
    std::vector<unsigned long> codes;
    for (unsigned long i = 0; i < 5000; ++i) {
        const unsigned long kinds[] = {0x41180000UL + 3 * i, i << 32U, i << 52U, random(), ~i,
                                       random() % 1000};
        codes.push_back(kinds[nKind]);
    }
    return codes;
}

TEST(ReasonTableTest, HoldsWhatAMapHolds)
{
    for (int nKind = 0; nKind < 6; ++nKind) {
        SCOPED_TRACE(nKind);
        ReasonTable table;
        std::map<unsigned long, std::string> model;
        for (const unsigned long nCode : Codes(nKind)) {
            const std::string reason = std::to_string(model.size());
            table.Set(nCode, reason);
            model[nCode] = reason;
        }
        for (const auto& [nCode, reason] : model) {
            ASSERT_NE(table.Find(nCode), nullptr) << nCode;
            EXPECT_EQ(*table.Find(nCode), reason);
            EXPECT_EQ(table.Find(nCode + 1) != nullptr, model.count(nCode + 1) == 1);
        }
    }
}

/// How many codes go in until the table asks for memory.
unsigned long EnteredWithoutMemory(ReasonTable& table, unsigned long nFirst)
{
    const nbitest::AllocationLimit limit(0);
    unsigned long nCode = nFirst;
    try {
        for (;; ++nCode) table.Set(nCode, "");
    } catch (const std::bad_alloc&) {
    }
    return nCode - nFirst;
}

TEST(ReasonTableTest, GrowsToTwiceItsSizeWhenHalfOfItIsUsed)
{
    ReasonTable table;
    EXPECT_EQ(EnteredWithoutMemory(table, 0), 0U);
    unsigned long nUsed = 0;
    for (const unsigned long nHalf : {32U, 64U, 128U}) {
        table.Set(nUsed++, "");
        nUsed += EnteredWithoutMemory(table, nUsed);
        EXPECT_EQ(nUsed, nHalf);
    }
}

TEST(ReasonTableTest, NothingIsLostWhenThereIsNoRoomToGrow)
{
    ReasonTable table;
    unsigned long nEntered = 0;
    try {
        const nbitest::AllocationLimit limit(100000);
        for (; nEntered < 100000; ++nEntered) table.Set(nEntered, std::to_string(nEntered));
        FAIL() << "it has grown";
    } catch (const std::bad_alloc&) {
    }
    EXPECT_GE(nEntered, 100u);
    for (unsigned long nCode = 0; nCode < nEntered; ++nCode) {
        EXPECT_EQ(*table.Find(nCode), std::to_string(nCode));
    }
    EXPECT_EQ(table.Find(nEntered), nullptr);
    table.Set(nEntered, "room again");
    EXPECT_EQ(*table.Find(nEntered), "room again");
}

}  // namespace
}  // namespace NS_UTIL
