// The forms "gcp" and "pos": control points and positions of other programs for a block of ours.
#pragma once

#include "exchange/ExchangeLog.h"
#include "exchange/ExchangeOptions.h"

namespace orvo::exchange {

/// Writes the GCP file options.szOut from the table options.szSource. Measurements need options.szProject.
/// Throws ExchangeFault.
void ImportGcp(const ImportOptions& options, ExchangeLog& log);

/// Writes the POS file options.szOut from the table options.szSource, with strips numbered from 1. Throws
/// ExchangeFault.
void ImportPos(const ImportOptions& options, ExchangeLog& log);

}  // namespace orvo::exchange
