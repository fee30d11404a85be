// COLMAP models: cameras, images and points3D, as text or binary files in one folder.
#pragma once

#include "exchange/ExchangeLog.h"
#include "exchange/ExchangeOptions.h"
#include "exchange/ForeignModel.h"

namespace orvo::exchange {

/// options.szSource: a folder with cameras, images and points3D, all .bin or all .txt; rigs and frames beside
/// them are not needed, as images hold their poses. Points of a binary model are read as they are asked for.
ForeignModel ReadColmap(const ImportOptions& options, ExchangeLog& log);

/// Writes cameras, images and points3D into the folder options.szOut, binary or with options.bText text, in
/// the order and with the ids that the model has, where they are usable. Holds 40 bytes a measurement.
void WriteColmap(ForeignModel& model, const ExportOptions& options, ExchangeLog& log);

}  // namespace orvo::exchange
