#include "run/BundleAdjustment.h"
namespace orvo {
int CBundleAdjustment::WriteResultFiles(const std::string&, const std::string&) { return 1; }
int CBundleAdjustment::WriteResultForm(const std::string&, const std::string&, int) { return 0; }
int CBundleAdjustment::WriteResultOvt() { return 0; }
int CBundleAdjustment::WriteCorrections(int32_t, const double*) { return 0; }
int CBundleAdjustment::WriteResidualsCpu(int32_t, int32_t) { return 0; }
int CBundleAdjustment::WriteReport() { return 0; }
}  // namespace orvo
