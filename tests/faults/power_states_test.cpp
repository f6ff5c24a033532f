// What a power cut can leave of a few operations, worked out by hand.
#include <gtest/gtest.h>

#include "power_states.h"

namespace k7k::test {
namespace {

constexpr std::size_t kMany = 1000;

Asked Done(Call call, const std::string& name, const std::string& to = "") {
  Asked asked;
  asked.call = call;
  asked.name = name;
  asked.to = to;
  return asked;
}

// A folder with a file, and what is done to them.
struct Disturbed {
  explicit Disturbed(const std::vector<Asked>& asked)
      : volume({{"a", "folder"}, {"a/f", "file ab"}}), log(volume.Record(asked)) {}

  PowerStates After(Order order, std::size_t most = kMany) const {
    PowerStates states(volume, order, most);
    for (const Operation& operation : log) states.Pass(operation);
    return states;
  }

  // The names in each state that a cut at the end can leave.
  std::set<std::string> Left(Order order, std::size_t most = kMany) const {
    const PowerStates after = After(order, most);
    std::set<std::string> names;
    for (const State& state : after.states()) names.insert(NamesIn(state));
    return names;
  }

  std::string NamesIn(const State& state) const {
    std::string names;
    for (const auto& [name, content] : volume.TreeOf(state)) names += name + " ";
    return names;
  }

  Volume volume;
  std::vector<Operation> log;
};

using Names = std::set<std::string>;

const Asked kRename = Done(Call::Move, "a", "b");
const Asked kUnlink = Done(Call::Remove, "b/f");

TEST(PowerStates, DeletionInARenamedFolder_MayComeBeforeTheRename) {
  const Disturbed disk({kRename, kUnlink});
  EXPECT_EQ(disk.Left(Order::Kept), (Names{"a a/f ", "b b/f ", "b "}));
  EXPECT_EQ(disk.Left(Order::Any), (Names{"a a/f ", "b b/f ", "b ", "a "}));
}

TEST(PowerStates, FlushOfTheFolderAround_CoversTheRenameAlone) {
  const Disturbed disk({kRename, kUnlink, Done(Call::Flush, "")});
  EXPECT_EQ(disk.Left(Order::Kept), (Names{"b "}));
  EXPECT_EQ(disk.Left(Order::Any), (Names{"b b/f ", "b "}));
}

TEST(PowerStates, FlushOfAFolderWhereOnlyFilesCount_CoversNothing) {
  const Disturbed disk({kRename, kUnlink, Done(Call::Flush, ""), Done(Call::Flush, "b")});
  EXPECT_EQ(disk.Left(Order::AnyUntilAFileBelow), (Names{"a a/f ", "b b/f ", "b ", "a "}));
}

TEST(PowerStates, FlushOfAFile_CoversTheFoldersAboveItWhereOnlyFilesCount) {
  const Disturbed disk({kRename, Done(Call::Flush, "b/f")});
  EXPECT_EQ(disk.Left(Order::Kept), (Names{"b b/f "}));
  EXPECT_EQ(disk.Left(Order::Any), (Names{"a a/f ", "b b/f "}));
  EXPECT_EQ(disk.Left(Order::AnyUntilAFileBelow), (Names{"b b/f "}));
}

TEST(PowerStates, FlushOfAFileInNewFolders_CoversTheseAndNoOtherWhereOnlyFilesCount) {
  const Disturbed disk({Done(Call::CreateFolder, "n"), Done(Call::CreateFolder, "n/m"),
                        Done(Call::CreateFolder, "a/o"), Done(Call::Copy, "a/f", "n/m/f"),
                        Done(Call::Flush, "n/m/f")});
  EXPECT_EQ(disk.Left(Order::AnyUntilAFileBelow),
            (Names{"a a/f n n/m n/m/f ", "a a/f a/o n n/m n/m/f "}));
}

TEST(PowerStates, FlushOfTheRenamedFolder_CoversTheDeletionAlone) {
  const Disturbed disk({kRename, kUnlink, Done(Call::Flush, "b")});
  EXPECT_EQ(disk.Left(Order::Kept), (Names{"b "}));
  EXPECT_EQ(disk.Left(Order::Any), (Names{"a ", "b "}));
}

TEST(PowerStates, FlushThatFailed_CoversNothing) {
  Asked failed = Done(Call::Flush, "");
  failed.answer = false;
  const Disturbed disk({kRename, failed});
  EXPECT_EQ(disk.Left(Order::Kept), (Names{"a a/f ", "b b/f "}));
  EXPECT_EQ(disk.Left(Order::Any), (Names{"a a/f ", "b b/f "}));
}

TEST(PowerStates, FileInANewFolder_IsNotThereWithoutIt) {
  const Disturbed disk({Done(Call::CreateFolder, "n"), Done(Call::Copy, "a/f", "n/f"),
                        Done(Call::Flush, "n/f"), Done(Call::Flush, "n")});
  EXPECT_EQ(disk.Left(Order::Kept), (Names{"a a/f n n/f "}));
  EXPECT_EQ(disk.Left(Order::Any), (Names{"a a/f ", "a a/f n n/f "}));
}

TEST(PowerStates, ChangesOfOneEntry_KeepTheirOrder) {
  const Disturbed disk({Done(Call::Copy, "a/f", "x"), Done(Call::Remove, "x"),
                        Done(Call::CreateFolder, "x"), Done(Call::Copy, "a/f", "x/y")});
  const Names left{"a a/f ", "a a/f x ", "a a/f x x/y "};
  EXPECT_EQ(disk.Left(Order::Kept), left);
  EXPECT_EQ(disk.Left(Order::Any), left);
}

TEST(PowerStates, RenameOverAFile_LeavesOneOfTheTwo) {
  const Disturbed disk({Done(Call::Copy, "a/f", "a/g"), Done(Call::Flush, "a/g"),
                        Done(Call::Flush, "a"), Done(Call::Move, "a/g", "a/f")});
  const Names left{"a a/f a/g ", "a a/f "};
  EXPECT_EQ(disk.Left(Order::Kept), left);
  EXPECT_EQ(disk.Left(Order::Any), left);
}

TEST(PowerStates, DeletedFolder_TakesAlongWhatItHolds) {
  const Disturbed disk({Done(Call::Remove, "a/f"), Done(Call::Remove, "a")});
  const Names left{"a a/f ", "a ", ""};
  EXPECT_EQ(disk.Left(Order::Kept), left);
  EXPECT_EQ(disk.Left(Order::Any), left);
}

TEST(PowerStates, DataThatWasNotFlushed_ReadsInFourWays) {
  const Disturbed disk({Done(Call::Copy, "a/f", "g")});
  const PowerStates states = disk.After(Order::Any);
  std::set<std::string> read;
  for (const State& state : states.states()) {
    for (const Losses& losses : states.LossesIn(state)) {
      const Tree tree = disk.volume.TreeOf(state, losses);
      read.insert(tree.contains("g") ? tree.at("g") : "none");
      EXPECT_EQ(tree.at("a/f"), "file ab");
    }
  }
  EXPECT_EQ(read, (Names{"none", "file ab", std::string("file \0\0", 7), "file ",
                         "file ?"
                         "?"}));
}

TEST(PowerStates, DataThatWasFlushed_ReadsAsWritten) {
  const Disturbed disk({Done(Call::Copy, "a/f", "g"), Done(Call::Flush, "g")});
  const PowerStates states = disk.After(Order::Any);
  ASSERT_EQ(states.states().size(), 2U);
  EXPECT_EQ(states.LossesIn(states.states().back()), std::vector<Losses>(1));
}

// Of 16 states the extremes are 10.
TEST(PowerStates, TooManyStates_APartWithAllNoneAndEachOneAlone) {
  const Disturbed disk({Done(Call::CreateFolder, "1"), Done(Call::CreateFolder, "2"),
                        Done(Call::CreateFolder, "3"), Done(Call::CreateFolder, "4")});
  EXPECT_FALSE(disk.After(Order::Any, 16).is_sample());
  EXPECT_EQ(disk.After(Order::Any, 12).states().size(), 12U);
  EXPECT_EQ(disk.After(Order::Any, 12).open(), 4U);
  EXPECT_EQ(disk.Left(Order::Any, 10),
            (Names{"a a/f ", "1 2 3 4 a a/f ", "1 a a/f ", "2 a a/f ", "3 a a/f ", "4 a a/f ",
                   "2 3 4 a a/f ", "1 3 4 a a/f ", "1 2 4 a a/f ", "1 2 3 a a/f "}));
}

TEST(PowerStates, TooManyStates_OneAloneIsThereWithWhatItNeeds) {
  const Disturbed disk({Done(Call::CreateFolder, "1"), Done(Call::CreateFolder, "1/2"),
                        Done(Call::Move, "1", "3"), Done(Call::CreateFolder, "3/2/4")});
  // All, none, the first alone, the second with the first, the third with the first; without the
  // third, the second (so without the fourth as well). The fourth needs all others.
  EXPECT_EQ(disk.Left(Order::Any, 1),
            (Names{"3 3/2 3/2/4 a a/f ", "a a/f ", "1 a a/f ", "1 1/2 a a/f ", "3 a a/f ",
                   "1 1/2 1/2/4 a a/f ", "3 3/2 a a/f "}));
}

}  // namespace
}  // namespace k7k::test
