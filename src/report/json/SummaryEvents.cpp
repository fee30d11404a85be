#include "report/json/SummaryEvents.h"

#include <utility>

#include "base/PrintableName.h"

namespace orvo::report {
namespace {

// Far above what a summary has, and far below what could hurt.
constexpr int64_t kMostValues = 200000;
constexpr size_t kMostDepth = 8;
constexpr size_t kMostShown = 160;

}  // namespace

void SummaryEvents::Fail(const std::string& what) const {
  throw SummaryFault("line " + std::to_string(Bytes.Line()) + ": " + what);
}

std::string SummaryEvents::PathOfKey() const {
  if (bInElement || OfDocument.size() > 2) return {};
  if (OfDocument.size() == 1) return szKey;
  return Keys.Groups.contains(szGroup) ? szGroup + "." + szKey : std::string();
}

bool SummaryEvents::key(std::string& name) {
  if (nPassedOver > 0) return true;
  szKey = std::move(name);
  if (OfDocument.size() == 1 && !bInElement) szGroup = szKey;
  const std::string path = PathOfKey();
  bPassOver = !path.empty() && !Keys.Known.contains(path);
  if (!bPassOver && Stack().back()->contains(szKey))
    Fail("the key \"" + PrintableName(szKey.substr(0, kMostShown)) + "\" comes twice");
  return true;
}

/// Where the value has come to lie.
SummaryEvents::Json* SummaryEvents::Put(Json value) {
  if (++nValues > kMostValues) Fail("it holds more values than a summary does");
  if (!szList.empty() && !bInElement) {
    Element = std::move(value);
    return &Element;
  }
  std::vector<Json*>& open = Stack();
  if (open.empty()) {
    if (!value.is_object()) Fail("it is no summary, which is an object");
    Root = std::move(value);
    return &Root;
  }
  if (open.back()->is_array()) {
    open.back()->push_back(std::move(value));
    return &open.back()->back();
  }
  return &((*open.back())[szKey] = std::move(value));
}

bool SummaryEvents::Scalar(Json value) {
  if (nPassedOver > 0) return true;
  if (std::exchange(bPassOver, false)) return true;
  const Json* put = Put(std::move(value));
  if (!szList.empty() && !bInElement) {
    HandOn();
  } else if (!bInElement && OfDocument.size() == 1) {
    Keys.Member(szKey, *put);
  }
  return true;
}

bool SummaryEvents::Start(Json empty) {
  if (nPassedOver > 0 || std::exchange(bPassOver, false)) {
    ++nPassedOver;
    return true;
  }
  const bool list =
      empty.is_array() && szList.empty() && !OfDocument.empty() && OfDocument.back()->is_object();
  const std::string path = list ? PathOfKey() : std::string();
  Json* put = Put(std::move(empty));
  if (!szList.empty()) {
    bInElement = true;
  } else if (Keys.Lists.contains(path)) {
    szList = path;
    nPlace = 0;
    nOfDocument = std::exchange(nValues, 0);
    return true;
  }
  if (Stack().size() == kMostDepth) Fail("it is nested more deeply than a summary is");
  Stack().push_back(put);
  return true;
}

bool SummaryEvents::End() {
  if (nPassedOver > 0) {
    --nPassedOver;
    return true;
  }
  if (!szList.empty() && !bInElement) {
    szList.clear();
    nValues = nOfDocument;
    return true;
  }
  const Json* ended = Stack().back();
  Stack().pop_back();
  if (bInElement && OfElement.empty()) {
    bInElement = false;
    HandOn();
  } else if (!bInElement && OfDocument.size() == 1) {
    Keys.Member(szGroup, *ended);
  }
  return true;
}

void SummaryEvents::HandOn() {
  try {
    Keys.Lists.at(szList)(Element, nPlace++);
  } catch (const SummaryFault& fault) {
    Fail(fault.what());
  }
  Element = nullptr;
  nValues = 0;
}

bool SummaryEvents::parse_error(size_t, const std::string&, const nlohmann::json::exception& error) {
  // Behind the library's own name of the exception.
  const std::string text = error.what();
  const size_t colon = text.find(": ");
  Fail("it is no JSON: " +
       PrintableName(colon == std::string::npos ? text : text.substr(colon + 2, kMostShown)));
}

}  // namespace orvo::report
