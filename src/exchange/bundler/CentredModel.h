// What Bundler and BAL have in common.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "exchange/ExchangeLog.h"
#include "exchange/ForeignModel.h"
#include "exchange/ForeignRotation.h"
#include "exchange/LongLines.h"

namespace orvo::exchange {

/// Fields one after another, wherever lines end.
class FieldStream {
 public:
  /// Lines that begin with `comment` are passed over.
  FieldStream(const std::string& path, char comment, ExchangeLog& log)
      : Lines(path), cComment(comment), Log(log) {}

  /// Throw an ExchangeFault that says what was read.
  double Real(const char* what);
  int64_t Int(const char* what, int64_t least, int64_t most);
  /// Nothing but blank lines is left.
  bool AtEnd();
  /// How many items of `bytesEach` the file can hold: counts above it can't be.
  int64_t Count(const char* what, int64_t bytesEach);
  [[noreturn]] void Refuse(std::string what) const;

 private:
  bool Refill();

  LongLines Lines;
  char cComment;
  ExchangeLog& Log;
  StrictFields Fields{""};
};

/// A camera with its image: Rb X + t, f, K1, K2.
struct CentredCamera {
  Rotation Rb{};
  Vector3 t{};
  double f = 0, K1 = 0, K2 = 0;
};

/// Images and points in memory, measurements by place in Cameras.
struct CentredModel {
  std::string szForm;
  std::vector<CentredCamera> Cameras;  ///< f = 0: without a pose
  std::vector<std::string> Names;      ///< empty: none are known
  SurveyPoints Points;
};

/// Cameras that are alike become one; images without a pose go, with their measurements.
ForeignModel ForeignModelOf(CentredModel model, const std::string& source, ExchangeLog& log);

/// Names by lines, NAME or NAME 0 FOCAL, with blanks where they have them; nothing where `path` is empty.
/// Refuses another number of lines.
std::vector<std::string> ReadImageList(const std::string& path, size_t imageNum);

}  // namespace orvo::exchange
