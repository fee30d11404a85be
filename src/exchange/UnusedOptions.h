// Options that a form has no use for are refused, so that nobody takes them for done.
#pragma once

#include <initializer_list>
#include <string_view>

#include "exchange/ExchangeOptions.h"

namespace orvo::exchange {

/// `used`: the form's own options, of images, tracks, project, crs, frame, height, origin, check,
/// check-prefix, angles, distortion. --frame as-is is never refused.
void RefuseUnused(const ImportOptions& options, std::initializer_list<std::string_view> used);
/// Of text, to-crs, camera, block-crs, pixel-size.
void RefuseUnused(const ExportOptions& options, std::initializer_list<std::string_view> used);

}  // namespace orvo::exchange
