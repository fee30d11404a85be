// The tables of points and measurements of a run, as outputs in its folder.
#pragma once

#include <span>
#include <string>

#include "base/OutputLedger.h"
#include "base/TextWriter.h"
#include "report/tables/PointTables.h"
#include "run/ReportChoice.h"

namespace orvo {

class TableOutput {
 public:
  TableOutput(const TableChoice& choice, const report::TableSources& sources, const std::string& folder,
              OutputLedger& outputs);
  ~TableOutput();
  TableOutput(const TableOutput&) = delete;
  TableOutput& operator=(const TableOutput&) = delete;

  void Add(std::span<const ObjectPointRecord> points, std::span<const ImagePointRecord> imagePoints);

 private:
  TextWriter* Open(bool wanted, const std::string& folder, const char* name, TextWriter& file);
  void Close(TextWriter& file);

  OutputLedger& Outputs;
  TextWriter Residuals, Points, Cloud;
  report::PointTables Tables;
};

}  // namespace orvo
