// Exports of a result that are no models: maps, tables, clouds of points, cameras. Rows of the table of
// forms.
#pragma once

#include "exchange/ExchangeLog.h"
#include "exchange/ExchangeOptions.h"
#include "exchange/ResultReading.h"

namespace orvo::exchange {

/// One file. Refused where nothing tells the coordinate system of the block.
void ExportGeoJson(const ResultBlock& result, const ExportOptions& options, ExchangeLog& log);
/// A folder: orientations, cameras, points, control and residuals.
void ExportTables(const ResultBlock& result, const ExportOptions& options, ExchangeLog& log);
/// The points, and beside them NAME_cameras.ply.
void ExportPly(const ResultBlock& result, const ExportOptions& options, ExchangeLog& log);
/// One file. With the coordinate system of the block where it is projected.
void ExportLas(const ResultBlock& result, const ExportOptions& options, ExchangeLog& log);
/// One file.
void ExportCameras(const ResultBlock& result, const ExportOptions& options, ExchangeLog& log);

}  // namespace orvo::exchange
