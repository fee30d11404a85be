// The forms of other programs: what each can read and write, and by which functions.
#pragma once

#include <span>
#include <string_view>

#include "exchange/ExchangeLog.h"
#include "exchange/ExchangeOptions.h"
#include "exchange/ForeignModel.h"
#include "exchange/ResultReading.h"

namespace orvo::exchange {

/// A row of the table; functions that a form does not have are null. All throw ExchangeFault, and write their
/// files through WholeFiles.
struct Form {
  const char* szName;
  const char* szReads;   ///< what an import takes, for the help; null where there is none
  const char* szWrites;  ///< what an export makes

  /// Forms that hold a block: the model at options.szSource, whose points are read later: `log` outlives it.
  /// Writing the project is the same for all.
  ForeignModel (*ReadModel)(const ImportOptions& options, ExchangeLog& log) = nullptr;
  /// Writes a model at options.szOut, cameras and measurements as they are; a camera that the form can't hold
  /// is replaced by a fitted one (LensFit.h), with what that leaves told.
  void (*WriteModel)(ForeignModel& model, const ExportOptions& options, ExchangeLog& log) = nullptr;
  /// Forms that hold something else (control points, positions): the whole import.
  void (*Import)(const ImportOptions& options, ExchangeLog& log) = nullptr;
  /// Forms that are views of a result: the whole export.
  void (*Export)(const ResultBlock& result, const ExportOptions& options, ExchangeLog& log) = nullptr;
};

std::span<const Form> Forms();
/// Null where there is no such form.
const Form* FindForm(std::string_view name);

/// Import of any form; the form exists and can be read. Throws ExchangeFault.
void ImportForm(const ImportOptions& options, ExchangeLog& log);
/// Export into any form; the form exists and can be written.
void ExportForm(const ExportOptions& options, ExchangeLog& log);
/// Reads with the first and writes with the second, without a project between.
void ConvertForm(const ImportOptions& from, const ExportOptions& to, ExchangeLog& log);

}  // namespace orvo::exchange
