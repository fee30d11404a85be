// orvo check and orvo help: what they print, and how they end.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "orvo/OrvoMain.h"
#include "support/Block.h"
#include "support/Console.h"

namespace orvo::test {
namespace {

struct Ended {
  int nExit = -1;
  std::string szOut, szErr;
};

using Finder = std::function<void(Diagnosis&)>;

/// With a finder, the files are not looked at, and it finds instead.
Ended Call(std::vector<std::string> arguments, const Finder& finder = {}) {
  arguments.insert(arguments.begin(), "/nowhere/orvo");
  std::vector<const char*> argv;
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  Console out, err;
  FrontEnd frontEnd;
  frontEnd.System = MadeUpPlatform(int64_t{1} << 30, 2);
  frontEnd.fOut = out.Stream();
  frontEnd.fErr = err.Stream();
  if (finder) {
    frontEnd.Diagnose = [&](const RunPaths&, DiagnosisScope, const Platform&, Diagnosis& diagnosis,
                            Overrides) { finder(diagnosis); };
  }
  Ended ended;
  ended.nExit = OrvoMain(static_cast<int>(argv.size()), argv.data(), frontEnd);
  ended.szOut = out.Text();
  ended.szErr = err.Text();
  return ended;
}

void FindOneOfEach(Diagnosis& diagnosis) {
  diagnosis.Add("S006", {"b.prj", 3, 12}, "x is '1,5', with a comma in it", "Write points");
  diagnosis.Add("R001", {"b.ovt", 0, 0, 292}, "there is no image 447", "Count from 0");
  diagnosis.Add("R012", {"b.prj", 7}, "point 'A\x1b' is measured twice", "");
  diagnosis.Add("M001", {"b.prj"}, "it takes 1 MB", "");
}

TEST(CheckCommand, OneLineAFinding) {
  const Ended ended = Call({"check", "b.prj", "--gcp", "g.txt"}, FindOneOfEach);
  EXPECT_EQ(ended.szOut,
            "b.prj:3:12: error: x is '1,5', with a comma in it. Write points [S006]\n"
            "b.ovt:@292: error: there is no image 447. Count from 0 [R001]\n"
            "b.prj:7: warning: point 'A\\x1b' is measured twice [R012]\n"
            "b.prj: note: it takes 1 MB [M001]\n"
            "2 errors, 1 warning in 2 files\n");
  EXPECT_EQ(ended.szErr, "");
  EXPECT_EQ(ended.nExit, 1);
}

TEST(CheckCommand, ExitCodes) {
  const auto codes = [](const Finder& finder) {
    return std::pair(Call({"check", "b.prj"}, finder).nExit,
                     Call({"check", "b.prj", "--strict"}, finder).nExit);
  };
  const auto add = [](const char* code) {
    return [code](Diagnosis& diagnosis) { diagnosis.Add(code, {"b.prj"}, "what", ""); };
  };
  EXPECT_EQ(codes([](Diagnosis&) {}), std::pair(0, 0));
  EXPECT_EQ(codes(add("M001")), std::pair(0, 0));
  EXPECT_EQ(codes(add("R012")), std::pair(0, 1));
  EXPECT_EQ(codes(add("S006")), std::pair(1, 1));
  EXPECT_EQ(Call({"check"}).nExit, 2);
  EXPECT_EQ(Call({"check", "b.prj", "--wrong"}).nExit, 2);
}

TEST(CheckCommand, ManyOfACode) {
  const auto find = [](int count) {
    return [count](Diagnosis& diagnosis) {
      for (int i = 1; i <= count; ++i) diagnosis.Add("S006", {"b.prj", i, 1}, "what", "Do");
      diagnosis.Add("M001", {"b.prj"}, "more", "");
    };
  };
  const auto lines = [](const std::string& text) { return std::ranges::count(text, '\n'); };
  EXPECT_EQ(lines(Call({"check", "b.prj"}, find(50)).szOut), 52);
  const std::string text = Call({"check", "b.prj"}, find(51)).szOut;
  EXPECT_EQ(lines(text), 53);
  EXPECT_NE(text.find("b.prj:50:1: error: what. Do [S006]\nerror: 1 more of these, 51 in all [S006]\n"
                      "b.prj: note: more [M001]\n51 errors, 0 warnings in 1 file\n"),
            std::string::npos)
      << text;
}

TEST(CheckCommand, Json) {
  const Ended ended = Call({"check", "b.ovc", "--pos", "p.txt", "--json"}, [](Diagnosis& diagnosis) {
    FindOneOfEach(diagnosis);
    diagnosis.Add("S006", {"b\xff.prj", 4, 1}, "\"quoted\"", "");
  });
  const auto all = nlohmann::json::parse(ended.szOut);
  EXPECT_EQ(ended.nExit, 1);
  ASSERT_EQ(all["findings"].size(), 5u);
  const auto& first = all["findings"][0];
  EXPECT_EQ(first["code"], "S006");
  EXPECT_EQ(first["severity"], "error");
  EXPECT_EQ(first["file"], "b.prj");
  EXPECT_EQ(first["line"], 3);
  EXPECT_EQ(first["column"], 12);
  EXPECT_EQ(first["what"], "x is '1,5', with a comma in it");
  EXPECT_EQ(first["remedy"], "Write points");
  EXPECT_FALSE(first.contains("offset"));
  EXPECT_EQ(all["findings"][1]["offset"], 292);
  EXPECT_FALSE(all["findings"][1].contains("line"));
  EXPECT_EQ(all["findings"][4]["what"], "\"quoted\"");
  EXPECT_EQ(all["counts"]["S006"], 2);
  EXPECT_EQ(all["errors"], 3);
  EXPECT_EQ(all["warnings"], 1);
  EXPECT_EQ(all["files"], 3);
}

TEST(CheckCommand, RealFiles) {
  SyntheticOptions options;
  options.nStrips = 2;
  Block block(options);
  const SyntheticPaths& files = block.Paths();
  Ended ended = Call({"check", files.szText, "--gcp", files.szGcp, "--strict"});
  EXPECT_EQ(ended.nExit, 0) << ended.szOut;
  EXPECT_NE(ended.szOut.find("0 errors, 0 warnings in 3 files\n"), std::string::npos) << ended.szOut;
  // Settings beside the project, as orvo adjust finds them.
  block.Set("Set_EOP_Unknown", "True");
  ended = Call({"check", files.szText, "--gcp", files.szGcp});
  EXPECT_EQ(ended.nExit, 1);
  EXPECT_NE(ended.szOut.find(": error: 'True' is neither true nor false: Set_EOP_Unknown."),
            std::string::npos)
      << ended.szOut;
  ended = Call({"check", block / "none.prj", "--settings", block / "none.xml"});
  EXPECT_EQ(ended.nExit, 1);
  EXPECT_NE(ended.szOut.find("none.prj: error: the file can't be read: there is no such file"),
            std::string::npos)
      << ended.szOut;
  EXPECT_NE(ended.szOut.find("none.xml: error: there is no such file. Check its path [A001]\n"),
            std::string::npos)
      << ended.szOut;
  EXPECT_EQ(ended.szErr, "");
}

TEST(CheckCommand, AdjustTellsErrorsAlone) {
  SyntheticOptions options;
  options.nStrips = 1;
  Block block(options);
  const Ended ended = Call({"adjust", block.Paths().szText, "--out", block / "out"}, FindOneOfEach);
  EXPECT_EQ(ended.nExit, 1);
  EXPECT_EQ(ended.szErr,
            "b.prj:3:12: error: x is '1,5', with a comma in it. Write points [S006]\n"
            "b.ovt:@292: error: there is no image 447. Count from 0 [R001]\n"
            "orvo adjust: nothing was computed, for the input is not sound\n");
  EXPECT_FALSE(Exists(block / "out"));
}

TEST(HelpCommand, TellsACode) {
  const Ended ended = Call({"help", "s006"});
  EXPECT_EQ(ended.nExit, 0);
  EXPECT_EQ(ended.szOut.find("S006 (error): Comma in a number\n\nCause: "), 0u) << ended.szOut;
  EXPECT_NE(ended.szOut.find("\n\nRemedy: Write numbers with a decimal point"), std::string::npos);
  const Ended none = Call({"help", "Q\x1b"});
  EXPECT_EQ(none.nExit, 1);
  EXPECT_EQ(none.szOut, "");
  EXPECT_EQ(none.szErr, "orvo help: there is no code Q\\x1b: orvo help lists all codes\n");
}

TEST(HelpCommand, ListsAllCodes) {
  const std::string text = Call({"help"}).szOut;
  for (const auto table : {FileCodes(), BlockCodes()}) {
    for (const CodeEntry& entry : table) {
      EXPECT_NE(text.find(entry.szCode), std::string::npos) << entry.szCode;
      EXPECT_NE(text.find(entry.szTitle), std::string::npos) << entry.szCode;
    }
  }
}

}  // namespace
}  // namespace orvo::test
