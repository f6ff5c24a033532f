// Somebody puts a link at a transaction's private name, before it is reserved or just before it is
// used: nothing is written, moved or deleted behind the link, and the old copy is not lost.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "support/platform.h"
#include "support/txn_fixture.h"

namespace k7k {
namespace {

using namespace test;

constexpr auto kNotReserved = L"Could not reserve transaction paths";
constexpr auto kNotReservedPortable = L"Could not reserve portable OBS transaction paths";

Rule CopiesTo(const wchar_t* tag) {
  return [=](const DiskCall& call) { return call.call == Call::Copy && IsPrivate(call.to, tag); };
}

template <class Target>
class LinkTest : public testing::Test, protected Target {
 protected:
  LinkTest() {
    WriteFile(elsewhere / "bin" / "kept.txt", "kept");
    WriteFile(elsewhere / "locale" / "en-US.ini", "kept");
  }

  // After the run that the test made: what must not change has not, and the link was put there.
  void ExpectNothingLost(const Tree& before) {
    EXPECT_EQ(TakeTree(elsewhere), elsewhere_before);
    EXPECT_TRUE(linked);
    Tree now = this->Now();
    for (const auto& [entry, content] : PrivateEntries(now)) {
      EXPECT_EQ(content, "link") << entry;
      now = Without(now, entry);
    }
    EXPECT_EQ(now, before);
  }

  // Puts a link to the folder elsewhere at the path that the first such call is about, or that the
  // move goes to.
  void Link(const Rule& rule) {
    elsewhere_before = TakeTree(elsewhere);
    this->disk.fails = [this, rule](const DiskCall& call) {
      if (!linked && rule(call)) {
        linked = true;
        make_link(call.to.empty() ? call.path : call.to);
      }
      return false;
    };
  }

  void ExpectInstallStops(const Rule& rule, InstallOutcome outcome, const std::wstring& message) {
    const Tree before = this->Now();
    Link(rule);
    EXPECT_EQ(this->Install(), outcome);
    EXPECT_EQ(this->detail, message);
    ExpectNothingLost(before);
  }

  void ExpectRemovalStops(const Rule& rule, const std::wstring& message) {
    const Tree before = this->Now();
    Link(rule);
    EXPECT_EQ(this->Remove(), RemovalOutcome::Failed);
    EXPECT_EQ(this->detail, message);
    ExpectNothingLost(before);
  }

  const Path elsewhere = Target::folder / "elsewhere";
  std::function<void(const Path&)> make_link = [this](const Path& link) {
    MakeFolderLink(elsewhere, link);
  };
  Tree elsewhere_before;
  bool linked = false;
};

// The standard target.

class TxnStandardLinkTest : public LinkTest<StandardTarget> {
 protected:
  TxnStandardLinkTest() { WriteOldCopy(); }
};

TEST_F(TxnStandardLinkTest, LinkAtTheStagingName_IsNotReserved) {
  ExpectInstallStops(OnPrivate(Call::Status, L"staging"), InstallOutcome::Failed, kNotReserved);
}

TEST_F(TxnStandardLinkTest, LinkAtTheBackupName_IsNotReserved) {
  ExpectInstallStops(OnPrivate(Call::Status, L"backup"), InstallOutcome::Failed, kNotReserved);
}

TEST_F(TxnStandardLinkTest, LinkAtTheReservedStagingName_IsNotCopiedInto) {
  ExpectInstallStops(OnPrivate(Call::CreateFolder, L"staging"), InstallOutcome::RolledBack,
                     L"Could not create the staging directory");
}

TEST_F(TxnStandardLinkTest, LinkAtTheReservedBackupName_IsNotMovedInto) {
  ExpectInstallStops(MovesTo(L"backup"), InstallOutcome::Failed,
                     L"Could not back up the existing plugin; OBS may be running");
}

TEST_F(TxnStandardLinkTest, LinkAtTheRemovalsBackupName_IsNotReserved) {
  ExpectRemovalStops(OnPrivate(Call::Status, L"remove-backup"),
                     L"Could not reserve the removal backup path");
}

TEST_F(TxnStandardLinkTest, LinkAtTheRemovalsReservedBackupName_IsNotMovedInto) {
  ExpectRemovalStops(MovesTo(L"remove-backup"),
                     L"Could not isolate the plugin; OBS may be running");
}

// A portable target.

class TxnPortableLinkTest : public LinkTest<PortableTarget> {
 protected:
  TxnPortableLinkTest() { WriteOldPieces(); }
};

class TxnPortableNameTest : public TxnPortableLinkTest,
                            public testing::WithParamInterface<const wchar_t*> {};

TEST_P(TxnPortableNameTest, LinkAtTheName_IsNotReserved) {
  ExpectInstallStops(OnPrivate(Call::Status, GetParam()), InstallOutcome::Failed,
                     kNotReservedPortable);
}

INSTANTIATE_TEST_SUITE_P(Names, TxnPortableNameTest,
                         testing::Values(L"portable-dll-staging", L"portable-data-staging",
                                         L"portable-dll-backup", L"portable-data-backup"));

TEST_F(TxnPortableLinkTest, LinkAtTheReservedDataStagingName_IsNotCopiedInto) {
  ExpectInstallStops(OnPrivate(Call::CreateFolder, L"portable-data-staging"),
                     InstallOutcome::RolledBack,
                     L"Could not stage and verify the portable OBS plugin");
}

TEST_F(TxnPortableLinkTest, LinkAtTheReservedDataBackupName_IsNotMovedInto) {
  ExpectInstallStops(MovesTo(L"portable-data-backup"), InstallOutcome::Failed,
                     L"Could not back up portable OBS plugin data");
}

TEST_F(TxnPortableLinkTest, LinkAtTheRemovalsDataName_IsNotMovedInto) {
  ExpectRemovalStops(MovesTo(L"portable-remove-data"), L"Could not isolate portable plugin data");
}

// The library's private names, at which a link to a file or to nothing could be written through.

enum class LinkTo { Folder, File, Nothing };

class TxnLibraryLinkTest : public TxnPortableLinkTest, public testing::WithParamInterface<LinkTo> {
 protected:
  TxnLibraryLinkTest() {
    if (GetParam() == LinkTo::File) {
      make_link = [this](const Path& link) { MakeFileLink(elsewhere / "bin/kept.txt", link); };
    } else if (GetParam() == LinkTo::Nothing) {
      make_link = [this](const Path& link) { MakeFolderLink(elsewhere / "nothing", link); };
    }
  }

  void SetUp() override {
    if (RunsUnderWine() && GetParam() != LinkTo::Folder) {
      GTEST_SKIP() << "Wine shows a link to a file as a file and one to nothing not at all";
    }
  }
};

TEST_P(TxnLibraryLinkTest, LinkAtTheReservedDllStagingName_IsNotCopiedTo) {
  ExpectInstallStops(CopiesTo(L"portable-dll-staging"), InstallOutcome::RolledBack,
                     L"Could not stage and verify the portable OBS plugin");
}

// A file that is moved onto a link takes the link's own place, or the system refuses the move;
// whichever, what the link leads to stays as it is.
TEST_P(TxnLibraryLinkTest, LinkAtTheReservedDllBackupName_IsNotFollowed) {
  const Tree before = Now();
  Link(MovesTo(L"portable-dll-backup"));
  const InstallOutcome outcome = Install();
  EXPECT_TRUE(linked);
  EXPECT_EQ(TakeTree(elsewhere), elsewhere_before);
  if (outcome == InstallOutcome::Installed) {
    EXPECT_EQ(Now(), Installed(before));
  } else {
    ExpectNothingLost(before);
  }
}

TEST_P(TxnLibraryLinkTest, LinkAtTheRemovalsDllName_IsNotFollowed) {
  const Tree before = Now();
  Link(MovesTo(L"portable-remove-dll"));
  const RemovalOutcome outcome = Remove();
  EXPECT_TRUE(linked);
  EXPECT_EQ(TakeTree(elsewhere), elsewhere_before);
  if (outcome == RemovalOutcome::Removed) {
    EXPECT_EQ(Now(), Uninstalled(before));
  } else {
    ExpectNothingLost(before);
  }
}

std::string LinkName(const testing::TestParamInfo<LinkTo>& link) {
  return link.param == LinkTo::Folder ? "ToAFolder"
         : link.param == LinkTo::File ? "ToAFile"
                                      : "ToNothing";
}

INSTANTIATE_TEST_SUITE_P(Links, TxnLibraryLinkTest,
                         testing::Values(LinkTo::Folder, LinkTo::File, LinkTo::Nothing), LinkName);

}  // namespace
}  // namespace k7k
