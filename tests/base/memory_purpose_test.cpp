#include "base/MemoryPurpose.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <new>
#include <stdexcept>
#include <string>
#include <thread>

#include "base/MemoryEnd.h"

namespace orvo {
namespace {

std::string Here() { return MemoryPurpose::Current(); }

std::string OnAnotherThread() {
  std::string name;
  std::thread([&] { name = Here(); }).join();
  return name;
}

TEST(MemoryPurpose, NamesTheInnermostStageOnEveryThread) {
  EXPECT_EQ(Here(), "the run");
  {
    const MemoryPurpose outer("the points");
    {
      const MemoryPurpose inner("the names of the points");
      EXPECT_EQ(Here(), "the names of the points");
      EXPECT_EQ(OnAnotherThread(), "the names of the points");
    }
    EXPECT_EQ(Here(), "the points");
  }
  EXPECT_EQ(Here(), "the run");
}

TEST(MemoryPurpose, OfAThreadHidesTheStageThereOnly) {
  const MemoryPurpose stage("the points");
  const MemoryPurpose own("a file", MemoryPurpose::Scope::Thread);
  EXPECT_EQ(Here(), "a file");
  EXPECT_EQ(OnAnotherThread(), "the points");
}

TEST(LackMemory, ThrowsWhereTheProgramHasNotChosenAnEnd) { EXPECT_THROW(LackMemory(8), std::bad_alloc); }

TEST(LastMemoryTest, IsKeptForTheEnd) { EXPECT_EQ(LastMemory(8, 8), nullptr); }

// The text of a program's end needs a process of its own.
class MemoryEndDeathTest : public testing::Test {
 protected:
  void SetUp() override { testing::FLAGS_gtest_death_test_style = "threadsafe"; }
};

TEST_F(MemoryEndDeathTest, TellsWhatAndHowMuch) {
  const auto end = [] {
    EndOnLackOfMemory("orvo", 1);
    const MemoryPurpose purpose("the points of a section");
    LackMemory(123456);
  };
  EXPECT_EXIT(end(), testing::ExitedWithCode(1),
              "^orvo: not enough memory: 123456 bytes for the points of a section\n$");
}

TEST_F(MemoryEndDeathTest, TellsTheLogToo) {
  const auto end = [] {
    EndOnLackOfMemory("orvo_adjust", 0);
    SetMemoryEndLog(STDERR_FILENO);
    LackMemory(8);
  };
  EXPECT_EXIT(
      end(), testing::ExitedWithCode(0),
      "^orvo_adjust: not enough memory: 8 bytes for the run\nnot enough memory: 8 bytes for the run\n$");
}

TEST_F(MemoryEndDeathTest, TakesWhatNobodyCatches) {
  const auto end = [](const auto& thrown) {
    EndOnLackOfMemory("orvo", 1);
    std::thread([&] { throw thrown; }).join();
  };
  EXPECT_EXIT(end(std::bad_alloc()), testing::ExitedWithCode(1), "not enough memory for the run");
  EXPECT_EXIT(end(std::length_error("vector")), testing::ExitedWithCode(1), "not enough memory for the run");
}

TEST_F(MemoryEndDeathTest, LeavesTheAnswerToWhoHasOne) {
  const auto answer = [] {
    EndOnLackOfMemory("orvo", 1);
    try {
      const AnswersLackOfMemory answers;
      LackMemory(8);
    } catch (const std::bad_alloc&) {
      ::_exit(7);
    }
  };
  EXPECT_EXIT(answer(), testing::ExitedWithCode(7), "^$");
}

}  // namespace
}  // namespace orvo
