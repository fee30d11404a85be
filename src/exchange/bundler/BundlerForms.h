// Bundler's bundle.out, and BAL problems: cameras at the image centre, looking along -z, y up.
#pragma once

#include "exchange/ExchangeLog.h"
#include "exchange/ExchangeOptions.h"
#include "exchange/ForeignModel.h"

namespace orvo::exchange {

/// options.szSource: a bundle.out of version 0.3; image names by options.szImages or list.txt beside it, an
/// image a line. Cameras with f = 0 have no pose and are left out. The form has no image size: it is taken so
/// that all measurements lie inside.
ForeignModel ReadBundler(const ImportOptions& options, ExchangeLog& log);

/// options.szSource: a problem as text, not compressed. Names and sizes as above.
ForeignModel ReadBal(const ImportOptions& options, ExchangeLog& log);

/// Writes options.szOut. The form has neither names nor image sizes. Measurements are counted from the
/// principal point; those of a camera that is not radial are corrected, which is told.
void WriteBal(ForeignModel& model, const ExportOptions& options, ExchangeLog& log);

}  // namespace orvo::exchange
