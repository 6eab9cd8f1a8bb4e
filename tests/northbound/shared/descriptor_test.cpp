#include "shared/descriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>

namespace northbound {
namespace {

int OpenNothing()
{
    return open("/dev/null", O_RDONLY | O_CLOEXEC);
}

bool IsOpen(int nNumber)
{
    return fcntl(nNumber, F_GETFD) >= 0;
}

TEST(DescriptorTest, ClosesWhatItWasGiven)
{
    const int nNumber = OpenNothing();
    {
        const Descriptor descriptor(nNumber);
        EXPECT_TRUE(descriptor.IsOpen());
        EXPECT_EQ(descriptor.Number(), nNumber);
        EXPECT_TRUE(IsOpen(nNumber));
    }
    EXPECT_FALSE(IsOpen(nNumber));
}

TEST(DescriptorTest, WhatCouldNotBeOpenedIsNothing)
{
    Descriptor descriptor(open("/nothing/there", O_RDONLY | O_CLOEXEC));
    EXPECT_FALSE(descriptor.IsOpen());
    errno = 0;
    descriptor.Close();
    EXPECT_EQ(errno, 0) << "no call of the system";
}

TEST(DescriptorTest, ClosedOneIsNotClosedAgain)
{
    Descriptor descriptor(OpenNothing());
    descriptor.Close();
    EXPECT_FALSE(descriptor.IsOpen());
    const Descriptor next(OpenNothing());  // gets the same number
    descriptor.Close();
    EXPECT_TRUE(IsOpen(next.Number()));
}

TEST(DescriptorTest, AnotherTakesThePlaceOfTheFirst)
{
    const int nFirst = OpenNothing();
    Descriptor descriptor(nFirst);
    descriptor.Reset(fcntl(nFirst, F_DUPFD_CLOEXEC, nFirst + 1));
    EXPECT_FALSE(IsOpen(nFirst));
    EXPECT_TRUE(IsOpen(descriptor.Number()));
}

}  // namespace
}  // namespace northbound
