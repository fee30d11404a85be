// The form "opensfm": reconstruction.json with tracks.csv.
#pragma once

#include <string>

#include "exchange/ExchangeLog.h"
#include "exchange/ExchangeOptions.h"
#include "exchange/ForeignModel.h"

namespace orvo::exchange {

/// options.szSource: reconstruction.json, or the folder that holds it; tracks.csv beside it, or
/// options.szTracks. Of several reconstructions the one with the most images. Throws ExchangeFault.
ForeignModel ReadOpenSfm(const ImportOptions& options, ExchangeLog& log);

/// Writes reconstruction.json, tracks.csv and, for a topocentric frame, reference_lla.json into the folder
/// options.szOut. Points without colour are black. Throws ExchangeFault.
void WriteOpenSfm(ForeignModel& model, const ExportOptions& options, ExchangeLog& log);

}  // namespace orvo::exchange
