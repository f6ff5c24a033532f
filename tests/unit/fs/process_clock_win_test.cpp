#include <gtest/gtest.h>
#include <windows.h>

#include "fs/process_clock.h"
#include "support/import_patch_win.h"

namespace k7k {
namespace {

TEST(ProcessClockWinTest, MillisecondsSinceStart_After49Days_GoOnGrowing) {
  const test::ImportPatch<decltype(::GetTickCount64)> patch(
      "GetTickCount64", [](auto) { return ULONGLONG{0x100000001}; });
  EXPECT_EQ(MillisecondsSinceStart(), 0x100000001U);
}

TEST(ProcessClockWinTest, ProcessIdentifier_IsTheSystems) {
  const test::ImportPatch<decltype(::GetCurrentProcessId)> patch("GetCurrentProcessId",
                                                                 [](auto) { return DWORD{4321}; });
  EXPECT_EQ(ProcessIdentifier(), 4321U);
}

}  // namespace
}  // namespace k7k
