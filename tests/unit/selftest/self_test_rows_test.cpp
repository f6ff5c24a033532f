// The rows of the self-test, each made to fail by one disk fault.
#include "selftest/self_test.h"

#include <gtest/gtest.h>

#include "selftest/fixtures.h"
#include "support/self_test_fixture.h"

namespace k7k {
namespace {

using namespace test;

constexpr auto kPlugin = "plugins/k7k-obs-audio";
constexpr auto kManifest = "plugins/k7k-obs-audio/manifest.sha256";
constexpr auto kLibrary = "plugins/k7k-obs-audio/bin/64bit/k7k-obs-audio.dll";
constexpr auto kPortableLibrary = "portable-obs/obs-plugins/64bit/k7k-obs-audio.dll";
constexpr auto kPortableLocale = "portable-obs/data/obs-plugins/k7k-obs-audio/locale/en-US.ini";

// The other numbers by one disk fault each, row by row. A row with several expectations has a fault
// for each that one can break alone.

struct RowFault {
  const char* name;  // of the test
  int number;
  int moves;  // made before the fault; for a Move: which one fails
  Call call;
  const char* path;
  int skip;  // how many such calls come first
};

void PrintTo(const RowFault& fault, std::ostream* out) { *out << fault.name; }

class SelfTestRows : public SelfTestFixture, public testing::WithParamInterface<RowFault> {};

TEST_P(SelfTestRows, OneFault_GivesTheNumberOfTheRow) {
  const RowFault& fault = GetParam();
  disk.fails = fault.call == Call::Move ? MoveFails(fault.moves)
                                        : At(fault.moves, fault.call, fault.path, fault.skip);
  ExpectFailure(fault.number);
}

std::string RowName(const testing::TestParamInfo<RowFault>& row) {
  return std::to_string(row.param.number) + "_" + row.param.name;
}

constexpr auto kPayloadManifest = "payload-a/manifest.sha256";

// Before these rows: 0 moves, 1 after the first install, 3 after the one that is undone, 5 after
// the second, 7 after the removal that is undone, 8 after the removal.
INSTANTIATE_TEST_SUITE_P(
    Standard, SelfTestRows,
    testing::Values(RowFault{"Install", 3, 1, Call::Move, "", 0},
                    // The install itself reads the manifest once.
                    RowFault{"FolderNotValid", 4, 1, Call::OpenInput, kManifest, 1},
                    RowFault{"NotTheBundle", 4, 1, Call::OpenInput, kManifest, 2},
                    // Five checks and one comparison hash the library before its byte is read.
                    RowFault{"WrongByte", 4, 1, Call::OpenInput, kLibrary, 6},
                    RowFault{"BackupMove", 6, 4, Call::Move, "", 0},
                    RowFault{"Swap", 6, 5, Call::Move, "", 0},
                    RowFault{"NotTheBundle", 6, 5, Call::OpenInput, kManifest, 1},
                    RowFault{"WrongByte", 6, 5, Call::OpenInput, kLibrary, 5},
                    RowFault{"WrongByte", 7, 5, Call::OpenInput, kLibrary, 6},
                    RowFault{"MoveAside", 11, 6, Call::Move, "", 0},
                    RowFault{"Restore", 11, 7, Call::Move, "", 0},
                    RowFault{"FolderNotValid", 11, 7, Call::OpenInput, kManifest, 0},
                    RowFault{"WrongByte", 11, 7, Call::OpenInput, kLibrary, 1},
                    RowFault{"MoveAside", 12, 8, Call::Move, "", 0},
                    RowFault{"FolderCannotBeAskedAbout", 12, 8, Call::Status, kPlugin, 0},
                    RowFault{"SecondRemoval", 13, 8, Call::Status, "plugins", 0},
                    RowFault{"FileCannotBeWritten", 8, 8, Call::OpenOutput, "not-a-directory", 0},
                    RowFault{"OtherOutcome", 8, 8, Call::OpenInput, kPayloadManifest, 0},
                    RowFault{"OtherOutcome", 10, 8, Call::OpenInput, kPayloadManifest, 1}),
    RowName);

// Before these rows: 8 moves, 10 after the install, 14 and 19 after those that are undone, 23 after
// the second, 27 after the repair, 31 after the removal that is undone, 33 after the removal.
INSTANTIATE_TEST_SUITE_P(
    Portable, SelfTestRows,
    testing::Values(RowFault{"RootRefused", 16, 8, Call::Status, "portable-obs", 0},
                    RowFault{"DllIn", 17, 9, Call::Move, "", 0},
                    RowFault{"DataIn", 17, 10, Call::Move, "", 0},
                    RowFault{"NotTheBundle", 17, 10, Call::Status, "portable-obs", 0},
                    // The install and the status hash each file before its byte is read.
                    RowFault{"WrongLibraryByte", 18, 10, Call::OpenInput, kPortableLibrary, 2},
                    RowFault{"WrongLocaleByte", 18, 10, Call::OpenInput, kPortableLocale, 2},
                    RowFault{"BackupMove", 19, 11, Call::Move, "", 0},
                    RowFault{"Restore", 19, 13, Call::Move, "", 0},
                    RowFault{"NotTheBundle", 19, 14, Call::Status, "portable-obs", 0},
                    RowFault{"WrongByte", 19, 14, Call::OpenInput, kPortableLibrary, 1},
                    RowFault{"DllIn", 20, 17, Call::Move, "", 0},
                    RowFault{"Restore", 20, 19, Call::Move, "", 0},
                    RowFault{"NotTheBundle", 20, 19, Call::Status, "portable-obs", 0},
                    RowFault{"WrongByte", 20, 19, Call::OpenInput, kPortableLibrary, 1},
                    RowFault{"DllIn", 21, 22, Call::Move, "", 0},
                    RowFault{"NotTheBundle", 21, 23, Call::Status, "portable-obs", 0},
                    RowFault{"WrongLibraryByte", 21, 23, Call::OpenInput, kPortableLibrary, 2},
                    RowFault{"WrongLocaleByte", 21, 23, Call::OpenInput, kPortableLocale, 2},
                    RowFault{"FileCannotBeWritten", 22, 23, Call::OpenOutput, kPortableLocale, 0},
                    RowFault{"DllIn", 22, 26, Call::Move, "", 0},
                    RowFault{"NotTheBundle", 22, 27, Call::Status, "portable-obs", 0},
                    RowFault{"MoveAside", 23, 28, Call::Move, "", 0},
                    RowFault{"Restore", 23, 30, Call::Move, "", 0},
                    RowFault{"NotTheBundle", 23, 31, Call::Status, "portable-obs", 0},
                    RowFault{"MoveAside", 24, 32, Call::Move, "", 0},
                    RowFault{"LibraryCannotBeAskedAbout", 24, 33, Call::Status, kPortableLibrary,
                             0},
                    RowFault{"LocaleCannotBeAskedAbout", 24, 33, Call::Status, kPortableLocale, 0},
                    RowFault{"SecondRemoval", 25, 33, Call::Status, "portable-obs", 0},
                    RowFault{"TestRootCannotBeRemoved", 9, 33, Call::Remove, ".", 0}),
    RowName);

class SelfTestRowsTest : public SelfTestFixture {};

// Rows whose expectation is that something is not so: the fault makes it so.

// Copies the files of the bundle whose manifest is asked for over the installed ones.
void PlantBundleOf(const Path& manifest) {
  const Path payload = manifest.parent_path();
  for (const auto& [name, content] : TakeTree(payload)) {
    if (content.starts_with("file ")) {
      Plant(payload.parent_path() / kPlugin / name, content.substr(5));
    }
  }
}

TEST_F(SelfTestRowsTest, FirstCopyThatAlsoMatchesTheOtherBundle_Gives4) {
  disk.fails = Before(At(1, Call::OpenInput, "payload-b/manifest.sha256"), PlantBundleOf);
  ExpectFailure(4);
}

TEST_F(SelfTestRowsTest, SecondCopyThatAlsoMatchesTheFirstBundle_Gives6) {
  disk.fails = Before(At(5, Call::OpenInput, kPayloadManifest), PlantBundleOf);
  ExpectFailure(6);
}

TEST_F(SelfTestRowsTest, IncompleteBundleThatInstalls_Gives7) {
  disk.fails = Before(At(5, Call::Status, "payload-invalid"), [](const Path& payload) {
    const DiskOverride real(NativeDisk());
    EXPECT_TRUE(WriteFixturePayload(payload, 'B'));
  });
  ExpectFailure(7);
}

TEST_F(SelfTestRowsTest, PluginFolderThatIsStillThereAfterItsRemoval_Gives12) {
  disk.fails = Before(At(8, Call::Status, kPlugin),
                      [](const Path& path) { NativeDisk().CreateFolder(path); });
  ExpectFailure(12);
}

TEST_F(SelfTestRowsTest, RemovalThatCannotDelete_Gives12) {
  disk.fails = RemovesPrivate(L"remove-backup");
  ExpectFailure(12);
}

TEST_F(SelfTestRowsTest, FileAsPluginParentThatIsAccepted_Gives8) {
  disk.fails = Before(At(8, Call::Status, "not-a-directory"), [](const Path& path) {
    NativeDisk().RemoveAll(path);
    NativeDisk().CreateFolder(path);
  });
  ExpectFailure(8);
}

TEST_F(SelfTestRowsTest, RootWithoutAMarkerThatIsAccepted_Gives16) {
  disk.fails = Before(At(8, Call::Status, "not-portable-obs"),
                      [](const Path& path) { Plant(path / "portable_mode", ""); });
  ExpectFailure(16);
}

TEST_F(SelfTestRowsTest, TamperedPortableCopyThatMatches_Gives22) {
  disk.fails = [healed = false](const DiskCall& call) mutable {
    const bool is_locale = NameInTestRoot(call.path) == kPortableLocale;
    if (!healed && is_locale && call.call == Call::OpenInput && ReadFile(call.path) == "tampered") {
      healed = true;
      Plant(call.path, std::string(32, 'B'));
    }
    return false;
  };
  ExpectFailure(22);
}

TEST_F(SelfTestRowsTest, PortableRemovalThatCannotDelete_Gives24) {
  disk.fails = RemovesPrivate(L"portable-remove-data");
  ExpectFailure(24);
}

TEST_F(SelfTestRowsTest, PortableLibraryThatIsStillThereAfterItsRemoval_Gives24) {
  disk.fails =
      Before(At(33, Call::Status, kPortableLibrary), [](const Path& path) { Plant(path, "back"); });
  ExpectFailure(24);
}

TEST_F(SelfTestRowsTest, PortableLocaleThatIsStillThereAfterItsRemoval_Gives24) {
  disk.failed_status = FileStatus::File;
  disk.fails = At(33, Call::Status, kPortableLocale);
  ExpectFailure(24);
}

TEST_F(SelfTestRowsTest, TestRootThatIsRemovedInPart_Gives9AndWhatIsLeftStays) {
  disk.fails = At(33, Call::Remove, ".");
  ExpectFailure(9);
  EXPECT_TRUE(TakeTree(temporary / TestRootName()).empty());
}

// 5 alone says more, on standard error.

TEST_F(SelfTestRowsTest, InjectedInstallThatCannotBackUp_Gives5AndTheDiagnosticLine) {
  disk.fails = MoveFails(2);
  EXPECT_EQ(Run(), 5);
  EXPECT_EQ(diagnostic,
            L"rollback result=3, valid=1, first=65, "
            L"error=Could not back up the existing plugin; OBS may be running\n");
  EXPECT_FALSE(TestRootName().empty());
}

TEST_F(SelfTestRowsTest, InjectedInstallThatCannotRestore_Gives5AndTheDiagnosticLine) {
  disk.fails = MoveFails(3);
  disk.move_error = 32;
  EXPECT_EQ(Run(), 5);
  EXPECT_EQ(diagnostic,
            L"rollback result=3, valid=0, first=0, "
            L"error=Injected failure could not restore backup: 32\n");
  EXPECT_FALSE(TestRootName().empty());
}

TEST_F(SelfTestRowsTest, RestoredCopyThatIsNotValid_Gives5AndTheDiagnosticLine) {
  disk.fails = At(3, Call::OpenInput, kManifest);
  EXPECT_EQ(Run(), 5);
  EXPECT_EQ(diagnostic,
            L"rollback result=5, valid=0, first=65, "
            L"error=Bundle integrity manifest is missing\n");
}

TEST_F(SelfTestRowsTest, RestoredCopyThatCannotBeRead_Gives5AndTheDiagnosticLine) {
  disk.fails = At(3, Call::OpenInput, kLibrary, 1);
  EXPECT_EQ(Run(), 5);
  EXPECT_EQ(diagnostic,
            L"rollback result=5, valid=1, first=0, error=Injected transaction failure\n");
}

TEST_F(SelfTestRowsTest, RestoredCopyOfTheOtherBundle_Gives5WithItsByte) {
  disk.fails = Before(At(3, Call::OpenInput, kLibrary, 1),
                      [](const Path& path) { Plant(path, std::string(32, 'B')); });
  EXPECT_EQ(Run(), 5);
  EXPECT_EQ(diagnostic,
            L"rollback result=5, valid=1, first=66, error=Injected transaction failure\n");
}

TEST_F(SelfTestRowsTest, RestoredCopyWithAHighByte_Gives5WithANegativeNumber) {
  disk.fails =
      Before(At(3, Call::OpenInput, kLibrary, 1), [](const Path& path) { Plant(path, "\xff"); });
  EXPECT_EQ(Run(), 5);
  EXPECT_EQ(diagnostic,
            L"rollback result=5, valid=1, first=-1, error=Injected transaction failure\n");
}

}  // namespace
}  // namespace k7k
