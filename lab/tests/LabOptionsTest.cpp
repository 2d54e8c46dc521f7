// The command line of the lab, without booting anything.

#include <gtest/gtest.h>

#include "lab/support/LabOptions.h"
#include "lab/support/RunOrder.h"

namespace {

using lab::LabOptions;
using lab::parseOptions;
using lab::UsageError;

TEST(LabOptions, GivesOneDriveByDefault)
{
    const LabOptions options = parseOptions({"--", "program", "--drives", "7"});
    ASSERT_EQ(1U, options.drives.size());
    EXPECT_EQ(lab::DriveType::disk, options.drives[0].type);
    EXPECT_EQ((std::vector<std::string>{"program", "--drives", "7"}), options.program);
}

TEST(LabOptions, TakesDefaultsForWhatADriveDoesNotSay)
{
    const LabOptions options = parseOptions(
        {"--drives", "3", "--drive", "type=mo,partitions=2", "--drive", "label=gpt", "--fs", "ext4", "--", "program"});
    ASSERT_EQ(3U, options.drives.size());
    EXPECT_EQ(lab::DriveType::magnetoOptical, options.drives[0].type);
    EXPECT_EQ(2, options.drives[0].partitions);
    EXPECT_EQ(lab::FileSystem::ext4, options.drives[0].fileSystem);
    EXPECT_EQ(lab::Label::gpt, options.drives[1].label);
    EXPECT_EQ(lab::Label::dos, options.drives[2].label);
}

TEST(LabOptions, LetsADriveNameWhatAllShare)
{
    EXPECT_EQ(64, parseOptions({"--drive", "size=64", "program"}).emulation.megabytes);
    EXPECT_THROW(parseOptions({"--drive", "size=64", "--drive", "size=32", "program"}), UsageError);
}

TEST(LabOptions, RefusesWhatItCannotObey)
{
    EXPECT_THROW(parseOptions({}), UsageError);
    EXPECT_THROW(parseOptions({"--drives"}), UsageError);
    EXPECT_THROW(parseOptions({"--drives", "2x", "program"}), UsageError);
    EXPECT_THROW(parseOptions({"--drives", "1", "--drive", "", "--drive", "", "program"}), UsageError);
    EXPECT_THROW(parseOptions({"--colour", "red", "program"}), UsageError);
}

TEST(RunOrder, ComesBackFromItsBytes)
{
    lab::RunOrder order;
    order.arguments = {"a", "", "with blank\nand line"};
    order.workingDirectory = "/tmp";
    const lab::RunOrder copy = lab::RunOrder::fromBytes(order.toBytes());
    EXPECT_EQ(order.arguments, copy.arguments);
    EXPECT_TRUE(copy.environment.empty());
    EXPECT_EQ("/tmp", copy.workingDirectory);
    EXPECT_THROW(lab::RunOrder::fromBytes("xcut short"), std::runtime_error);
}

} // namespace
