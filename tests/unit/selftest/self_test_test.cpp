// The self-test as a whole, its fixtures, and the numbers of what goes wrong before the first row.
#include "selftest/self_test.h"

#include <gtest/gtest.h>

#include "fs/process_clock.h"
#include "support/bundle_facts.h"
#include "support/self_test_fixture.h"

namespace k7k {
namespace {

using namespace test;

class SelfTestTest : public SelfTestFixture {};

TEST_F(SelfTestTest, HealthyEngine_PassesAndLeavesTheTemporaryFolderAsItWas) {
  WriteFile(temporary / "another-program/file", "kept");
  const Tree before = TakeTree(folder.path());
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(diagnostic, L"");
  EXPECT_EQ(TakeTree(folder.path()), before);
}

TEST_F(SelfTestTest, HealthyEngine_WorksOnTheRealDiskAsWell) {
  const DiskOverride real(NativeDisk());
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"tmp", "folder"}}));
}

TEST_F(SelfTestTest, EveryCall_StaysInTheTestRoot) {
  EXPECT_EQ(Run(), 0);
  for (const DiskCall& call : disk.calls) {
    // The way to the root is looked at when it is created.
    const bool is_way = IsAtOrBelow(temporary, call.path) &&
                        (call.call == Call::Status || call.call == Call::FinalPath);
    EXPECT_TRUE(is_way || !NameInTestRoot(call.path).empty()) << call.path;
  }
}

// What the rules of this file count on.
TEST_F(SelfTestTest, HealthyEngine_Makes33Moves) {
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(disk.Count(Call::Move), 33);
}

TEST_F(SelfTestTest, MissingTemporaryFolder_IsCreatedByTheFirstFixtureAndStays) {
  NativeDisk().RemoveAll(temporary);
  EXPECT_EQ(Run(), 0);
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"tmp", "folder"}}));
}

TEST_F(SelfTestTest, TemporaryFolderWithSpacesAndNonAsciiLetters_Passes) {
  const TemporaryFolderSetting setting(temporary / u8"\u00dcser \u4e2d temp");
  EXPECT_EQ(RunSelfTest(), 0);
}

TEST_F(SelfTestTest, FailedRun_LeavesItsFolderNamedAfterProcessAndTime) {
  const auto before = MillisecondsSinceStart();
  disk.fails = At(0, Call::OpenOutput, "not-portable-obs/bin/64bit/obs64.exe");
  EXPECT_EQ(Run(), 15);
  const std::string name = TestRootName();
  const std::string prefix = std::string(kRootPrefix) + std::to_string(ProcessIdentifier()) + ".";
  ASSERT_TRUE(name.starts_with(prefix)) << name;
  const std::string time = name.substr(prefix.size());
  EXPECT_GE(std::stoull(time), before);
  EXPECT_LE(std::stoull(time), MillisecondsSinceStart());
  EXPECT_EQ(time, std::to_string(std::stoull(time)));
}

TEST_F(SelfTestTest, Fixtures_AreThoseOfTheScenarios) {
  disk.fails = First(1, [](const DiskCall& call) { return call.call == Call::Copy; });
  EXPECT_EQ(Run(), 3);
  const Tree root = TakeTree(temporary / TestRootName());
  Tree a;
  for (const char* parent : {"bin", "bin/64bit", "data", "data/locale"}) a[parent] = "folder";
  for (const char* file : kFiles) {
    a[file] = "file " + std::string(32, 'A');
    EXPECT_EQ(root.at(std::string("payload-b/") + file), "file " + std::string(32, 'B'));
  }
  a["manifest.sha256"] = root.at("payload-a/manifest.sha256");
  EXPECT_EQ(TakeTree(temporary / TestRootName() / "payload-a"), a);
  EXPECT_EQ(root.at("payload-tampered/bin/64bit/k7k-obs-audio.dll"),
            "file tampered-after-manifest");
  EXPECT_EQ(root.at("payload-tampered/data/locale/ko-KR.ini"), "file " + std::string(32, 'T'));
  EXPECT_EQ(TakeTree(temporary / TestRootName() / "payload-invalid"),
            (Tree{{"bin", "folder"},
                  {"bin/64bit", "folder"},
                  {"bin/64bit/k7k-obs-audio.dll", "file invalid"}}));
  EXPECT_EQ(TakeTree(temporary / TestRootName() / "portable-obs"),
            (Tree{{"bin", "folder"},
                  {"bin/64bit", "folder"},
                  {"bin/64bit/obs64.exe", "file fake-obs"},
                  {"portable_mode.txt", "file portable"}}));
  EXPECT_EQ(
      TakeTree(temporary / TestRootName() / "not-portable-obs"),
      (Tree{{"bin", "folder"}, {"bin/64bit", "folder"}, {"bin/64bit/obs64.exe", "file fake-obs"}}));
}

// 2, 14, 15: fixtures.

TEST_F(SelfTestTest, ReadOnlyTemporaryFolder_Gives2) {
  disk.fails = [](const DiskCall& call) { return call.call == Call::CreateFolder; };
  EXPECT_EQ(Run(), 2);
  EXPECT_EQ(diagnostic, L"");
  EXPECT_TRUE(TakeTree(temporary).empty());
}

TEST_F(SelfTestTest, TemporaryFolderThatIsAFile_Gives2) {
  NativeDisk().RemoveAll(temporary);
  WriteFile(temporary, "a file");
  EXPECT_EQ(Run(), 2);
  EXPECT_EQ(diagnostic, L"");
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"tmp", "file a file"}}));
}

TEST_F(SelfTestTest, LinkPutInTheTestRootsPlaceFirst_Gives2AndNothingIsWrittenBehindIt) {
  WriteFile(folder / "elsewhere/kept", "kept");
  const Tree elsewhere = TakeTree(folder / "elsewhere");
  disk.fails = Before([](const DiskCall& call) { return NameInTestRoot(call.path) == "."; },
                      [&](const Path& root) { MakeFolderLink(folder / "elsewhere", root); });
  EXPECT_EQ(Run(), 2);
  EXPECT_EQ(diagnostic, L"");
  EXPECT_EQ(TakeTree(folder / "elsewhere"), elsewhere);
}

struct FixtureFault {
  const char* name;
  int nth;  // time that the file is opened for writing
  int number;
};

void PrintTo(const FixtureFault& fault, std::ostream* out) { *out << fault.name; }

class SelfTestFixtures : public SelfTestTest, public testing::WithParamInterface<FixtureFault> {};

INSTANTIATE_TEST_SUITE_P(
    Each, SelfTestFixtures,
    testing::Values(FixtureFault{"payload-a/data/locale/ko-KR.ini", 1, 2},
                    FixtureFault{"payload-b/manifest.sha256", 1, 2},
                    FixtureFault{"payload-tampered/bin/64bit/k7k-obs-audio.dll", 1, 2},
                    FixtureFault{"payload-invalid/bin/64bit/k7k-obs-audio.dll", 1, 2},
                    FixtureFault{"payload-tampered/bin/64bit/k7k-obs-audio.dll", 2, 14},
                    FixtureFault{"portable-obs/bin/64bit/obs64.exe", 1, 15},
                    FixtureFault{"portable-obs/portable_mode.txt", 1, 15},
                    FixtureFault{"not-portable-obs/bin/64bit/obs64.exe", 1, 15}));

TEST_P(SelfTestFixtures, FileCannotBeWritten_GivesTheNumberOfItsStep) {
  const FixtureFault& fault = GetParam();
  disk.fails = At(0, Call::OpenOutput, fault.name, fault.nth - 1);
  ExpectFailure(fault.number);
}

TEST_F(SelfTestTest, TamperedBundleThatVerifiesAllTheSame_Gives14) {
  disk.fails =
      Before(At(0, Call::OpenInput, "payload-tampered/manifest.sha256"), [](const Path& manifest) {
        Plant(manifest.parent_path() / "bin/64bit/k7k-obs-audio.dll", std::string(32, 'T'));
      });
  ExpectFailure(14);
}

}  // namespace
}  // namespace k7k
