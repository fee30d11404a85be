// The members of each record of a results file, by name, for writing and reading alike.
#pragma once

#include <string>

#include "report/Json.h"
#include "report/Results.h"

namespace orvo::bench {

/// Reads the members of one JSON object. Each read is false where the member is missing, of another kind,
/// below zero or beyond what its type holds; the error then names the place.
class FieldReader {
 public:
  FieldReader(const Json& object, std::string place, std::string& error)
      : Object(object), szPlace(std::move(place)), szError(error) {}

  const Json& operator[](std::string_view name) const { return Object[name]; }
  FieldReader Inside(const Json& member, const std::string& place) const {
    return {member, szPlace.empty() ? place : szPlace + "." + place, szError};
  }

  bool Read(const char* name, double& value) const;
  bool Read(const char* name, int64_t& value) const;
  bool Read(const char* name, int& value) const;
  bool Read(const char* name, std::string& value) const;
  /// `none` where it is null or missing.
  bool ReadOrNull(const char* name, double& value, double none) const;
  /// Always false.
  bool Fail(const char* name, const std::string& why) const;

 private:
  const Json& Object;
  std::string szPlace;
  std::string& szError;
};

/// Calls visit(name, member) for each plain member of a record; what may be null or is a list is not among
/// them.
template <class Record, class Visit>
requires std::is_same_v<std::remove_const_t<Record>, MachineFacts>
void VisitFields(Record& r, Visit&& visit) {
  visit("processor", r.szProcessor);
  visit("processors", r.nProcessors);
  visit("kernel", r.szKernel);
  visit("instruction_counter", r.szInstructionCounter);
}

template <class Record, class Visit>
requires std::is_same_v<std::remove_const_t<Record>, Measurement>
void VisitFields(Record& r, Visit&& visit) {
  visit("case", r.szCase);
  visit("program", r.szProgram);
  visit("repeats", r.nRepeats);
  visit("wall", r.fWall);
  visit("cpu", r.fCpu);
  visit("user", r.fUser);
  visit("system", r.fSystem);
  visit("peak_bytes", r.nPeakBytes);
  visit("minor_faults", r.nMinorFaults);
  visit("iterations", r.nIterations);
  visit("iteration_wall", r.fIterationWall);
  visit("iteration_cpu", r.fIterationCpu);
  visit("listing_wall", r.fListingWall);
  visit("listing_cpu", r.fListingCpu);
}

template <class Record, class Visit>
requires std::is_same_v<std::remove_const_t<Record>, PeerRun>
void VisitFields(Record& r, Visit&& visit) {
  visit("case", r.szCase);
  visit("configuration", r.szConfiguration);
  visit("repeats", r.nRepeats);
  visit("whole", r.Whole.fWall);
  visit("whole_cpu", r.Whole.fCpu);
  visit("read", r.Read.fWall);
  visit("read_cpu", r.Read.fCpu);
  visit("build", r.Build.fWall);
  visit("build_cpu", r.Build.fCpu);
  visit("solve", r.Solve.fWall);
  visit("solve_cpu", r.Solve.fCpu);
  visit("steps", r.nSteps);
  visit("final_rms", r.fFinalRms);
  visit("peak_bytes", r.nPeakBytes);
  visit("beside_wall", r.Beside.fWall);
  visit("beside_cpu", r.Beside.fCpu);
  visit("beside_peak_bytes", r.nBesidePeakBytes);
  visit("beside_rms", r.fBesideRms);
}

template <class Record, class Visit>
requires std::is_same_v<std::remove_const_t<Record>, KernelTime>
void VisitFields(Record& r, Visit&& visit) {
  visit("name", r.szName);
  visit("wall", r.fWall);
  visit("cpu", r.fCpu);
  visit("items_per_second", r.fItems);
  visit("bytes_per_second", r.fBytes);
}

template <class Record, class Visit>
requires std::is_same_v<std::remove_const_t<Record>, DeviceFigures>
void VisitFields(Record& r, Visit&& visit) {
  visit("device", r.szDevice);
  visit("processors", r.nProcessors);
  visit("layout", r.nLayout);
  visit("products", r.nProducts);
  visit("copy_bytes_per_s", r.fCopyBytes);
}

template <class Record, class Visit>
requires std::is_same_v<std::remove_const_t<Record>, DeviceTime>
void VisitFields(Record& r, Visit&& visit) {
  visit("form", r.szForm);
  visit("measurements", r.nRays);
  visit("points", r.nPoints);
  visit("images", r.nImages);
  visit("upload_s", r.fUpload);
  visit("refresh_s", r.fRefresh);
  visit("sum_matrix_s", r.fSumMatrix);
  visit("const_vector_s", r.fConstVector);
  visit("preconditioner_s", r.fPreconditioner);
  visit("product_s", r.fProduct);
  visit("step_s", r.fStep);
  visit("iteration_s", r.fIteration);
  visit("bytes_per_ray", r.fBytesPerRay);
  visit("percent_of_copy", r.fPercentOfCopy);
}

template <class Record>
Json::Object FieldsJson(const Record& record) {
  Json::Object json;
  VisitFields(record, [&json](const char* name, const auto& value) { json.emplace_back(name, value); });
  return json;
}

/// False at the first member that can't be read.
template <class Record>
bool ReadFields(const FieldReader& reader, Record& record) {
  bool good = true;
  VisitFields(record, [&](const char* name, auto& value) { good = good && reader.Read(name, value); });
  return good;
}

}  // namespace orvo::bench
