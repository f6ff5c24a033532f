// Whether a folder is a portable OBS: the marker.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/odd_disks.h"
#include "support/portable_root.h"

namespace k7k {
namespace {

using test::Call;
using test::FailEach;
using test::FaultDisk;
using test::kNoMarker;
using test::MakeFolder;
using test::WriteFile;

class PortableTargetMarkerTest : public test::PortableRootTestBase {};

TEST_F(PortableTargetMarkerTest, ValidatePortableRoot_NoMarker_IsNotMarked) {
  Remove("portable_mode.txt");
  ExpectRefused(kNoMarker);
}

TEST_F(PortableTargetMarkerTest, ValidatePortableRoot_EachOfTheFourMarkersAlone_IsAccepted) {
  Remove("portable_mode.txt");
  for (const char* marker :
       {"portable_mode", "obs_portable_mode", "portable_mode.txt", "obs_portable_mode.txt"}) {
    WriteFile(root / marker, "");
    ExpectAccepted();
    Remove(marker);
    ExpectRefused(kNoMarker);
  }
}

TEST_F(PortableTargetMarkerTest, ValidatePortableRoot_NameThatIsNoMarker_IsNotMarked) {
  Remove("portable_mode.txt");
  for (const char* marker :
       {"portable", "portable_mode.ini", "xportable_mode", "portable_mode.txt.bak",
        "bin/portable_mode", "obs-portable-mode.txt"}) {
    WriteFile(root / marker, "");
    ExpectRefused(kNoMarker);
  }
}

TEST_F(PortableTargetMarkerTest, ValidatePortableRoot_MarkerIsAFolder_IsNotMarked) {
  Remove("portable_mode.txt");
  MakeFolder(root / "portable_mode.txt");
  ExpectRefused(kNoMarker);
}

TEST_F(PortableTargetMarkerTest, ValidatePortableRoot_FolderThenAMarkerFile_TheSearchGoesOn) {
  Remove("portable_mode.txt");
  MakeFolder(root / "portable_mode");
  MakeFolder(root / "obs_portable_mode");
  MakeFolder(root / "portable_mode.txt");
  WriteFile(root / "obs_portable_mode.txt", "");
  ExpectAccepted();
}

TEST_F(PortableTargetMarkerTest, ValidatePortableRoot_MarkerIsALinkOfAnyKind_IsNotMarked) {
  test::LateLinkDisk disk(root / "portable_mode.txt", 1);
  ExpectRefused(kNoMarker);
}

TEST_F(PortableTargetMarkerTest,
       ValidatePortableRoot_MarkerUnreadable_IsSkippedAndTheSearchGoesOn) {
  FaultDisk disk;
  disk.fails = FailEach(Call::Status, root / "portable_mode.txt");
  ExpectRefused(kNoMarker);
  WriteFile(root / "obs_portable_mode.txt", "");
  ExpectAccepted();
}

TEST_F(PortableTargetMarkerTest, ValidatePortableRoot_Markers_AreTriedInTheirOrderUpToTheFirst) {
  WriteFile(root / "obs_portable_mode", "");
  FaultDisk disk;
  EXPECT_TRUE(ValidatePortableRoot(root, nullptr));
  std::vector<std::string> tried;
  for (const test::DiskCall& call : disk.calls) {
    const std::string name = call.path.filename().generic_string();
    if (call.call == Call::Status && name.find("portable_mode") != std::string::npos) {
      tried.push_back(name);
    }
  }
  EXPECT_EQ(tried, (std::vector<std::string>{"portable_mode", "obs_portable_mode"}));
}

}  // namespace
}  // namespace k7k
