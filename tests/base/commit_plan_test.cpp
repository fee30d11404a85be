#include "base/CommitPlan.h"

#include <gtest/gtest.h>

#include "base/CommitFiles.h"
#include "base/CommitProcess.h"

namespace orvo::test {
namespace {

constexpr JournalNames kJournal{"journal.new", "journal"};

/// Two old files, one of which is renewed, and a new one.
struct PlannedFolder {
  CommitFolder Folder;
  CommitPlan Plan{CommitTarget::Results, {{true, "a"}, {true, "b"}, {false, "a"}, {false, "c"}}};
  const FolderContents Before{{"a", "old a"}, {"b", "old b"}};
  const FolderContents After{{"a", "new a"}, {"c", "new c"}};

  PlannedFolder() {
    for (const auto& [name, text] : Before) Put(Folder / name, text);
    for (const auto& [name, text] : After) Put(Folder / ("s/" + name), text);
    Put(Folder / "s/journal.new", Plan.Text());
    std::filesystem::create_directory(Folder / "s/old");
  }
  OpenFolders Open() const { return {Folder / "s", Folder / "s/old", Folder.Path()}; }
  FolderContents Visible() const {
    FolderContents visible = Folder.Contents();
    std::erase_if(visible, [](const auto& entry) { return entry.first.starts_with("s/"); });
    return visible;
  }
};

TEST(CommitPlan, JournalGivesThePlanBack) {
  const CommitPlan plan{CommitTarget::Unusable, {{true, "OrvoResult.ovc"}, {false, "a\nb c"}}};
  const auto parsed = CommitPlan::Parse(plan.Text());
  ASSERT_TRUE(parsed);
  EXPECT_TRUE(parsed->Target == CommitTarget::Unusable);
  ASSERT_EQ(parsed->Steps.size(), 2u);
  EXPECT_TRUE(parsed->Steps[0].bAway);
  EXPECT_EQ(parsed->Steps[0].szName, "OrvoResult.ovc");
  EXPECT_FALSE(parsed->Steps[1].bAway);
  EXPECT_EQ(parsed->Steps[1].szName, "a\nb c");
}

TEST(CommitPlan, JournalThatIsNotWholeIsNone) {
  const std::string text = CommitPlan{CommitTarget::Results, {{true, "a"}, {false, "b"}}}.Text();
  for (size_t length = 0; length < text.size(); ++length) {
    EXPECT_FALSE(CommitPlan::Parse(text.substr(0, length))) << length;
  }
}

TEST(CommitPlan, JournalCantReachOutOfItsFolder) {
  for (const char* name : {"..", ".", "../x", "/x", "a/b", ""}) {
    EXPECT_FALSE(CommitPlan::Parse(CommitPlan{CommitTarget::Results, {{false, name}}}.Text())) << name;
  }
}

TEST(CommitPlan, AllStepsInOrder) {
  PlannedFolder f;
  const CommitResult result = ApplyPlan(f.Plan, f.Open().Handles());
  EXPECT_EQ(result.nError, 0);
  EXPECT_EQ(f.Visible(), f.After);
  EXPECT_EQ(ContentsOf(f.Folder / "s/old"), f.Before);
}

TEST(CommitPlan, StepThatFailsTakesTheOthersBack) {
  for (size_t step = 0; step < 4; ++step) {
    PlannedFolder f;
    f.Plan.Steps[step].szName = "absent";
    const CommitResult result = ApplyPlan(f.Plan, f.Open().Handles());
    EXPECT_EQ(result.nError, ENOENT) << step;
    EXPECT_EQ(result.nStep, static_cast<int>(step));
    EXPECT_TRUE(result.bUndone);
    EXPECT_EQ(f.Visible(), f.Before) << step;
  }
}

TEST(CommitPlan, FinishedFromWhereverItStopped) {
  for (size_t done = 0; done <= 4; ++done) {
    PlannedFolder f;
    CommitPlan begun = f.Plan;
    begun.Steps.resize(done);
    ASSERT_EQ(ApplyPlan(begun, f.Open().Handles()).nError, 0);
    EXPECT_TRUE(FinishPlan(f.Plan, f.Open().Handles())) << done;
    EXPECT_EQ(f.Visible(), f.After) << done;
    EXPECT_TRUE(FinishPlan(f.Plan, f.Open().Handles())) << "a second time";
    EXPECT_EQ(f.Visible(), f.After) << done;
  }
}

TEST(CommitProcess, DoesAllOrNothingAndRemovesTheJournal) {
  PlannedFolder whole, failing;
  EXPECT_EQ(RunCommitProcess(whole.Plan, whole.Open().Handles(), kJournal).nError, 0);
  EXPECT_EQ(whole.Visible(), whole.After);
  EXPECT_FALSE(std::filesystem::exists(whole.Folder / "s/journal"));

  failing.Plan.Steps.back().szName = "absent";
  const CommitResult result = RunCommitProcess(failing.Plan, failing.Open().Handles(), kJournal);
  EXPECT_EQ(result.nError, ENOENT);
  EXPECT_TRUE(result.bUndone);
  EXPECT_EQ(failing.Visible(), failing.Before);
  EXPECT_FALSE(std::filesystem::exists(failing.Folder / "s/journal"));
}

}  // namespace
}  // namespace orvo::test
