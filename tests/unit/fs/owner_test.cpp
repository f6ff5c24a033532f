#include "fs/owner.h"

#include <gtest/gtest.h>

#include <vector>

namespace k7k {
namespace {

std::vector<int> closed;

struct CountedTraits {
  using Value = int;
  static Value Invalid() { return -1; }
  static void Close(Value value) { closed.push_back(value); }
};
using Counted = Owner<CountedTraits>;

class OwnerTest : public testing::Test {
 protected:
  void SetUp() override { closed.clear(); }
};

TEST_F(OwnerTest, Destructor_HeldHandle_ClosesItOnce) {
  {
    const Counted owner(7);
  }
  EXPECT_EQ(closed, std::vector<int>{7});
}

TEST_F(OwnerTest, Destructor_InvalidHandle_ClosesNothing) {
  {
    const Counted owner;
  }
  EXPECT_TRUE(closed.empty());
}

TEST_F(OwnerTest, MoveAssignment_BothHold_ClosesTheOldOne) {
  Counted a(1);
  Counted b(2);
  a = std::move(b);
  EXPECT_EQ(closed, std::vector<int>{1});
  EXPECT_EQ(a.Get(), 2);
}

TEST_F(OwnerTest, MoveAssignment_ToItself_KeepsTheHandle) {
  Counted a(1);
  Counted& same = a;
  a = std::move(same);
  EXPECT_EQ(a.Get(), 1);
  EXPECT_TRUE(closed.empty());
}

TEST_F(OwnerTest, MoveConstruction_HeldHandle_IsClosedOnceByTheNewOwner) {
  {
    Counted a(3);
    const Counted b(std::move(a));
    EXPECT_EQ(b.Get(), 3);
  }
  EXPECT_EQ(closed, std::vector<int>{3});
}

TEST_F(OwnerTest, Release_HeldHandle_IsNotClosed) {
  {
    Counted a(4);
    EXPECT_EQ(a.Release(), 4);
    EXPECT_FALSE(a);
  }
  EXPECT_TRUE(closed.empty());
}

TEST_F(OwnerTest, Receive_HeldHandle_ClosesItFirst) {
  Counted a(5);
  *a.Receive() = 6;
  EXPECT_EQ(closed, std::vector<int>{5});
  EXPECT_EQ(a.Get(), 6);
}

}  // namespace
}  // namespace k7k
