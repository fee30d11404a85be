#include "orvo/CommandLineFacts.h"

#include <algorithm>
#include <sstream>

#include "check/Codes.h"
#include "settings/RigorousTable.h"
#include "settings/SettingsTable.h"

namespace orvo {
namespace {

/// What stands in the braces of a list of choices.
std::vector<std::string> ChoicesIn(const std::string& typeName) {
  const size_t begin = typeName.find('{'), end = typeName.find('}', begin);
  std::vector<std::string> choices;
  if (begin == std::string::npos || end == std::string::npos) return choices;
  std::istringstream list(typeName.substr(begin + 1, end - begin - 1));
  for (std::string one; std::getline(list, one, ',');) choices.push_back(one);
  return choices;
}

/// By any of their names.
std::vector<std::string> SettingWords(const char* behind) {
  std::vector<std::string> words;
  for (const Setting& setting : SettingsTable()) {
    for (const char* name : {setting.szName, setting.szColonKey, setting.szXmlElement}) {
      if (name == nullptr) continue;
      const std::string word = std::string(name) + behind;
      if (std::ranges::find(words, word) == words.end()) words.push_back(word);
    }
  }
  for (const RigorousSetting& setting : RigorousTable())
    words.push_back(setting.szName + std::string(behind));
  return words;
}

std::vector<std::string> CodeWords() {
  std::vector<std::string> words;
  for (const auto table : {FileCodes(), BlockCodes()}) {
    for (const CodeEntry& entry : table) words.emplace_back(entry.szCode);
  }
  return words;
}

std::vector<std::string> WordsOf(const std::string& value, const std::string& typeName) {
  if (value == "KEY") return SettingWords("");
  if (value == "KEY=VALUE") return SettingWords("=");
  return value == "CODE" ? CodeWords() : ChoicesIn(typeName);
}

ValueKind KindOf(const OptionFacts& facts) {
  if (!facts.Words.empty()) return ValueKind::Words;
  if (facts.szValue.empty()) return ValueKind::None;
  if (facts.szValue == "DIR" || facts.szValue == "FOLDER") return ValueKind::Folder;
  const bool isFile = facts.szValue == "FILE" || facts.szValue == "PATH" || facts.szValue == "PROJECT";
  return isFile || facts.Names.empty() ? ValueKind::File : ValueKind::Other;
}

OptionFacts FactsOf(const CLI::Option& option) {
  OptionFacts facts;
  for (const std::string& name : option.get_lnames()) facts.Names.push_back("--" + name);
  for (const std::string& name : option.get_snames()) facts.Names.push_back("-" + name);
  const std::string typeName = option.get_type_name();
  const bool isFlag = option.get_items_expected_max() == 0;
  if (facts.Names.empty()) {
    facts.szValue = option.get_name();
  } else if (!isFlag) {
    facts.szValue = typeName.substr(0, typeName.find(':'));
  }
  facts.Words = isFlag ? std::vector<std::string>() : WordsOf(facts.szValue, typeName);
  facts.szDescription = option.get_description();
  facts.szDefault = option.get_default_str();
  facts.Kind = KindOf(facts);
  facts.bRequired = option.get_required();
  facts.bRepeats = option.get_items_expected_max() > 1;
  return facts;
}

CommandFacts FactsOfCommand(const CLI::App& app, const std::string& name) {
  CommandFacts facts{name, app.get_description(), app.get_footer(), {}, {}};
  for (const CLI::Option* option : app.get_options()) {
    if (option->get_group().empty()) continue;
    OptionFacts one = FactsOf(*option);
    (one.Names.empty() ? facts.Arguments : facts.Options).push_back(std::move(one));
  }
  return facts;
}

}  // namespace

std::vector<CommandFacts> FactsOf(const CLI::App& program) {
  std::vector<CommandFacts> all{FactsOfCommand(program, "")};
  const auto isShown = [](const CLI::App* app) { return !app->get_group().empty(); };
  for (const CLI::App* command : program.get_subcommands(isShown))
    all.push_back(FactsOfCommand(*command, command->get_name()));
  return all;
}

}  // namespace orvo
