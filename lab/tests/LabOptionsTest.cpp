// The command line of the lab, without booting anything.

#include <gtest/gtest.h>

#include "lab/drives/DriveDescription.h"
#include "lab/launcher/LabOptions.h"
#include "lab/support/TemporaryFolder.h"

namespace {

using lab::LabOptions;
using lab::parseOptions;
using Texts = std::vector<std::string>;

TEST(LabOptions, GivesOneDriveWhereNothingIsSaidOfDrives)
{
    EXPECT_EQ(1U, parseOptions({"--", "program"}).order.drives.size());
    EXPECT_TRUE(parseOptions({"--no-drives", "--", "program"}).order.drives.empty());
    const LabOptions options = parseOptions({"--drive", "type=mo", "--drive=size=64", "--", "program"});
    EXPECT_EQ((Texts{"type=mo", "size=64"}), options.order.drives);
    EXPECT_EQ(224 + 32 + 64 + 64, options.memoryMegabytes);
}

TEST(LabOptions, LeavesTheProgramsArgumentsAlone)
{
    const Texts program{"program", "--no-drives", "[a,b]", "", "--", "\xff\xfe", "--help"};
    Texts arguments{"--timeout", "5", "--"};
    arguments.insert(arguments.end(), program.begin(), program.end());
    const LabOptions options = parseOptions(arguments);
    EXPECT_EQ(5, options.timeoutSeconds);
    EXPECT_EQ(program, options.order.program);
}

TEST(LabOptions, RefusesWhatItCannotObey)
{
    for (const Texts& options : {Texts{"--drive"},
                                 {"--drive", "colour=red"},
                                 {"--drive", "size=2x"},
                                 {"--drive", "size=0"},
                                 {"--drive", "sector-size=513"},
                                 {"--drive", "label"},
                                 {"--no-drives", "--drive", "size=2"},
                                 {"--memory", "3"},
                                 {"--timeout", "-1"},
                                 {"--results", "/no/such/folder"},
                                 {"--colour"},
                                 {"colour"}}) {
        Texts arguments = options;
        arguments.insert(arguments.end(), {"--", "program"});
        EXPECT_THROW(parseOptions(arguments), lab::UsageError) << testing::PrintToString(options);
    }
    EXPECT_THROW(parseOptions({"--verbose"}), lab::UsageError);
    EXPECT_THROW(parseOptions({"--verbose", "--"}), lab::UsageError);
}

TEST(DriveDescription, IsReadFromItsText)
{
    const lab::DriveDescription drive =
        lab::parseDrive("type=mo,label=gpt,fs=ext4,partitions=2,luns=3,size=64,sector-size=2048,spin-up=7,"
                        "write-protect,descriptor-sense=yes");
    EXPECT_EQ(lab::DriveType::magnetoOptical, drive.type);
    EXPECT_EQ(lab::Label::gpt, drive.label);
    EXPECT_EQ(lab::FileSystem::ext4, drive.fileSystem);
    EXPECT_EQ((std::vector<int>{2, 3, 64, 2048}),
              (std::vector<int>{drive.partitions, drive.logicalUnits, drive.megabytes, drive.sectorSize}));
    EXPECT_EQ(",spin-up=7,descriptor-sense=yes", drive.driveSettings);
    EXPECT_EQ(",write-protect=yes", drive.mediumSettings);
}

TEST(RunOrder, ComesBackFromItsFile)
{
    const lab::TemporaryFolder folder;
    lab::RunOrder order;
    order.program = {"a", "", "with blank\nand line", "\xff no UTF-8 \xc3"};
    order.workingDirectory = "/tmp";
    order.shortSleeps = true;
    order.write(folder.path() + "/order");
    const lab::RunOrder copy = lab::RunOrder::read(folder.path() + "/order");
    EXPECT_EQ(order.program, copy.program);
    EXPECT_TRUE(copy.environment.empty());
    EXPECT_EQ("/tmp", copy.workingDirectory);
    EXPECT_TRUE(copy.shortSleeps);
    EXPECT_THROW(lab::RunOrder::read("/no/such/order"), std::exception);
}

} // namespace
