// Taking summary.json apart while it is parsed.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/FileBytes.h"

namespace orvo::report {

/// Why a summary can't be used, in a clause.
struct SummaryFault : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// What to look for. Paths are "images", "pos.images".
struct SummaryKeys {
  std::set<std::string> Known;   ///< all keys at the top, and those of groups; others are passed over
  std::set<std::string> Groups;  ///< objects whose members are known by their paths
  /// What takes an element of a list, and its place in it.
  std::map<std::string, std::function<void(const nlohmann::json& element, int64_t place)>> Lists;
  /// Is told every value at the top as soon as it is whole, lists without their elements.
  std::function<void(const std::string& key, const nlohmann::json& value)> Member;
};

/// Events of the parser. Elements of lists are handed on one after another; the rest becomes a document, in
/// which lists are empty. Memory is that of the document and of one element, and both are limited.
class SummaryEvents {
 public:
  using Json = nlohmann::json;

  SummaryEvents(const SummaryKeys& keys, const FileBytes& bytes) : Keys(keys), Bytes(bytes) {}

  /// Without the elements of its lists; null where nothing came.
  const Json& Document() const { return Root; }

  bool null() { return Scalar(nullptr); }
  bool boolean(bool value) { return Scalar(value); }
  bool number_integer(int64_t value) { return Scalar(value); }
  bool number_unsigned(uint64_t value) { return Scalar(value); }
  bool number_float(double value, const std::string&) { return Scalar(value); }
  bool string(std::string& text) { return Scalar(std::move(text)); }
  bool binary(Json::binary_t&) { return true; }
  bool start_object(size_t) { return Start(Json::object()); }
  bool start_array(size_t) { return Start(Json::array()); }
  bool key(std::string& name);
  bool end_object() { return End(); }
  bool end_array() { return End(); }
  bool parse_error(size_t, const std::string&, const nlohmann::json::exception& error);

 private:
  [[noreturn]] void Fail(const std::string& what) const;
  bool Scalar(Json value);
  bool Start(Json empty);
  bool End();
  Json* Put(Json value);
  void HandOn();
  /// Of what is open in the element, or in the document where there is none.
  std::vector<Json*>& Stack() { return bInElement ? OfElement : OfDocument; }
  std::string PathOfKey() const;

  const SummaryKeys& Keys;
  const FileBytes& Bytes;
  Json Root, Element;
  std::vector<Json*> OfDocument, OfElement;
  std::string szKey, szGroup;
  std::string szList;  ///< the path of the list that is open; empty without
  bool bInElement = false;
  bool bPassOver = false;   ///< the value behind this key
  int64_t nPassedOver = 0;  ///< containers open in a value that is passed over
  int64_t nPlace = 0;       ///< of the element in its list
  int64_t nValues = 0, nOfDocument = 0;
};

}  // namespace orvo::report
