// The model that a block was imported from, which no export replaces.
#pragma once

#include <span>

#include "exchange/ExchangeOptions.h"
#include "exchange/Sidecar.h"

namespace orvo::exchange {

/// Refuses an output at options.szOut that is the source of a sidecar, its folder, or one of its files; also
/// where the source was moved there since, by its checksum.
void RefuseSource(std::span<const Sidecar> sidecars, const ExportOptions& options);

}  // namespace orvo::exchange
