#include "run/BundleAdjustment.h"
namespace orvo {
int CBundleAdjustment::PreReadData(const std::string&, const std::string&) { return 0; }
int CBundleAdjustment::ReadProject(const std::string&, const std::string&) { return 0; }
int CBundleAdjustment::ReadGcpList(std::vector<ObjectPointRecord>&, std::vector<ImagePointRecord>&, TextReader&) { return -1; }
int CBundleAdjustment::PlanSections(int32_t, int32_t, int64_t, int64_t, const std::vector<int32_t>*) { return 0; }
int CBundleAdjustment::ReadSectionPoints(int32_t, const std::string&, const std::string&, int64_t&) { return 0; }
int CBundleAdjustment::ReadSectionPoints(int32_t) { return 0; }
int CBundleAdjustment::ReadGcpTable(const std::string&) { return 0; }
}  // namespace orvo
