// What somebody who has a file open leaves to the disk: each sharing mode of a reader, and the
// right to delete.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "support/native_win.h"
#include "support/platform.h"
#include "support/test_tree.h"

namespace k7k {
namespace {

using test::SharedOpen;
using test::TakeTree;
using test::TestFolder;
using test::Tree;
using test::WriteFile;

class DiskSharingWinTest : public testing::TestWithParam<DWORD> {
 protected:
  void SetUp() override { WriteFile(file_, "content"); }

  static bool Shares(DWORD right) { return (GetParam() & right) != 0; }

  const TestFolder folder_;
  const Path file_ = folder_ / "file";
};

TEST_P(DiskSharingWinTest, Questions_AreAnswered) {
  const SharedOpen held(file_, GetParam());
  EXPECT_EQ(NativeDisk().Status(file_), FileStatus::File);
  EXPECT_FALSE(NativeDisk().IsReparsePoint(file_));
  EXPECT_EQ(NativeDisk().Size(file_), 7U);
  EXPECT_EQ(NativeDisk().FinalPath(file_).path, file_);
}

TEST_P(DiskSharingWinTest, Reading_NeedsReadSharing) {
  const SharedOpen held(file_, GetParam());
  EXPECT_EQ(test::ReadFile(file_), Shares(FILE_SHARE_READ) ? "content" : "");
  EXPECT_EQ(NativeDisk().Copy(file_, folder_ / "copy"), Shares(FILE_SHARE_READ));
}

TEST_P(DiskSharingWinTest, Writing_NeedsWriteSharing) {
  const SharedOpen held(file_, GetParam());
  EXPECT_EQ(NativeDisk().OpenOutput(file_) != nullptr, Shares(FILE_SHARE_WRITE));
}

TEST_P(DiskSharingWinTest, Move_NeedsDeleteSharing) {
  {
    const SharedOpen held(file_, GetParam());
    EXPECT_EQ(NativeDisk().Move(file_, folder_ / "moved"),
              Shares(FILE_SHARE_DELETE) ? 0 : test::SharingViolationCode());
  }
  const std::string name = Shares(FILE_SHARE_DELETE) ? "moved" : "file";
  EXPECT_EQ(TakeTree(folder_.path()), (Tree{{name, "file content"}}));
}

TEST_P(DiskSharingWinTest, RemoveAll_NeedsDeleteSharing) {
  {
    const SharedOpen held(file_, GetParam());
    EXPECT_EQ(NativeDisk().RemoveAll(file_), Shares(FILE_SHARE_DELETE));
    // Windows takes the name away at once, Wine when the other one closes the file.
    if (!test::RunsUnderWine()) {
      EXPECT_EQ(Exists(NativeDisk().Status(file_)), !Shares(FILE_SHARE_DELETE));
    }
  }
  EXPECT_EQ(Exists(NativeDisk().Status(file_)), !Shares(FILE_SHARE_DELETE));
}

// Windows and Wine 10 take the name of a held folder away at once, Wine 8 when it is closed.
bool HeldNamesStay() {
  using Version = const char*(__cdecl*)();
  const auto version = reinterpret_cast<Version>(
      reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ntdll"), "wine_get_version")));
  return version != nullptr && std::atoi(version()) < 10;
}

TEST_P(DiskSharingWinTest, RemoveAll_FolderHeldInside_NeedsSharingAndItsNameToGoAtOnce) {
  WriteFile(folder_ / "tree/sub/file", "content");
  // It is listed, which is reading, and deleted.
  const bool removed = Shares(FILE_SHARE_READ) && Shares(FILE_SHARE_DELETE) && !HeldNamesStay();
  {
    const SharedOpen held(folder_ / "tree/sub", GetParam());
    EXPECT_EQ(NativeDisk().RemoveAll(folder_ / "tree"), removed);
  }
  EXPECT_EQ(Exists(NativeDisk().Status(folder_ / "tree")), !removed);
}

// As virus scanners and indexers open what they look at.
TEST(DiskScannerWinTest, FileOpenWithTheRightToDelete_IsAnsweredReadCopiedFlushedAndMoved) {
  const TestFolder folder;
  WriteFile(folder / "file", "content");
  const SharedOpen scanner(folder / "file", kShareAll, GENERIC_READ | DELETE);
  EXPECT_EQ(NativeDisk().Size(folder / "file"), 7U);
  EXPECT_EQ(test::ReadFile(folder / "file"), "content");
  EXPECT_TRUE(NativeDisk().Copy(folder / "file", folder / "copy"));
  EXPECT_TRUE(NativeDisk().Flush(folder / "file"));
  EXPECT_EQ(NativeDisk().Move(folder / "file", folder / "moved"), 0);
  EXPECT_EQ(TakeTree(folder.path()), (Tree{{"copy", "file content"}, {"moved", "file content"}}));
}

TEST(DiskScannerWinTest, FileOpenWithTheRightToDelete_IsRemovedAndNotWritten) {
  const TestFolder folder;
  WriteFile(folder / "file", "content");
  {
    const SharedOpen scanner(folder / "file", kShareAll, GENERIC_READ | DELETE);
    EXPECT_EQ(NativeDisk().OpenOutput(folder / "file"), nullptr);
    EXPECT_EQ(test::ReadFile(folder / "file"), "content");
    EXPECT_TRUE(NativeDisk().RemoveAll(folder / "file"));
  }
  EXPECT_EQ(TakeTree(folder.path()), Tree());
}

INSTANTIATE_TEST_SUITE_P(All, DiskSharingWinTest, testing::Range(DWORD{0}, DWORD{8}),
                         [](const auto& share) {
                           std::string name = "Nothing";
                           if ((share.param & FILE_SHARE_READ) != 0) name += "Read";
                           if ((share.param & FILE_SHARE_WRITE) != 0) name += "Write";
                           if ((share.param & FILE_SHARE_DELETE) != 0) name += "Delete";
                           return share.param == 0 ? name : name.substr(7);
                         });

}  // namespace
}  // namespace k7k
