#include <gtest/gtest.h>

#include "exchange/ModelFixture.h"
#include "exchange/bundler/BundlerForms.h"
#include "support/TestFiles.h"

namespace orvo::exchange {
namespace {

using test::ScratchFolder;
using test::WriteFile;

constexpr char kBundle[] =
    "# Bundle file v0.3\n3 1\n500 -0.1 0.02\n1 0 0\n0 1 0\n0 0 1\n0 0 0\n"
    "0 0 0\n0 0 0\n0 0 0\n0 0 0\n0 0 0\n"
    "500 -0.1 0.02\n0 1 0\n-1 0 0\n0 0 1\n1 2 3\n"
    "0.1 0.2 -8\n1 2 3\n3 0 5 6.5 13 1 0 7 8 2 9 -50.25 19.5\n";
constexpr char kBal[] =
    "2 1 2\n1 0 6.5 13\n0 0 -50.25 19.5\n"
    "0 0 0 0 0 0 500 -0.1 0.02\n0\n0\n-1.5707963267948966\n1\n2\n3\n501\n0\n0\n0.1 0.2 -8\n";

template <class Read>
ForeignModel ReadText(const ScratchFolder& scratch, const Read& read, const std::string& text,
                      const std::string& list = {}) {
  WriteFile(scratch / "model", text);
  ImportOptions options;
  options.szSource = scratch / "model";
  if (!list.empty()) {
    WriteFile(scratch / "names", list);
    options.szImages = scratch / "names";
  }
  return read(options, Silent());
}

TEST(Bundler, ByHand) {
  const ScratchFolder scratch;
  ForeignModel model = ReadText(scratch, ReadBundler, kBundle, "a.jpg\nb.jpg 0 500\nc.jpg\n");
  // The second has no pose; the others share a camera.
  ASSERT_EQ(model.Images.size(), 2u);
  ASSERT_EQ(model.Cameras.size(), 1u);
  EXPECT_EQ(model.Images[1].szPath, "c.jpg");
  EXPECT_EQ(model.Images[1].R, (std::array<double, 9>{0, -1, 0, 1, 0, 0, 0, 0, 1}));
  EXPECT_EQ(model.Images[1].S, (std::array<double, 3>{2, -1, -3}));
  EXPECT_EQ(model.Cameras[0].nWidth, 102);
  EXPECT_EQ(model.Cameras[0].nHeight, 40);
  const auto points = AllPoints(model);
  ASSERT_EQ(points.size(), 1u);
  ASSERT_EQ(points[0].Measurements.size(), 2u);
  EXPECT_EQ(points[0].Measurements[1].nImage, 1);
  EXPECT_EQ(points[0].Measurements[1].y, 19.5);
}

TEST(Bundler, NamesOfTheListMayHoldBlanks) {
  const struct {
    const char *szLine, *szName;
  } rows[] = {
      {"a.jpg", "a.jpg"},
      {"./im 0.jpg 0 3000", "./im 0.jpg"},
      {"./im 0.jpg 0 3000.5\r", "./im 0.jpg"},
      {"./im 0.jpg", "./im 0.jpg"},
      {"  a  b.jpg \t", "a  b.jpg"},
      {"a\tb.jpg\t0\t3e3", "a\tb.jpg"},
      {"a 1 3000", "a 1 3000"},
      {"a 0 x", "a 0 x"},
      {"0 3000", "0 3000"},
      {"0 0 3000", "0"},
  };
  for (const auto& row : rows) {
    const ScratchFolder scratch;
    const std::string list = "first.jpg\nb.jpg 0 500\n" + std::string(row.szLine) + "\n";
    EXPECT_EQ(ReadText(scratch, ReadBundler, kBundle, list).Images[1].szPath, row.szName) << row.szLine;
  }
}

TEST(Bal, ByHand) {
  const ScratchFolder scratch;
  ForeignModel model = ReadText(scratch, ReadBal, kBal);
  ASSERT_EQ(model.Images.size(), 2u);
  ASSERT_EQ(model.Cameras.size(), 2u);
  const std::array<double, 9> R = {0, -1, 0, 1, 0, 0, 0, 0, 1};
  for (size_t i = 0; i < 9; ++i) EXPECT_NEAR(model.Images[1].R[i], R[i], 1e-15);
  const std::array<double, 3> S = {2, -1, -3};
  for (size_t i = 0; i < 3; ++i) EXPECT_NEAR(model.Images[1].S[i], S[i], 1e-14);
  const auto points = AllPoints(model);
  ASSERT_EQ(points.size(), 1u);
  ASSERT_EQ(points[0].Measurements.size(), 2u);
  EXPECT_EQ(points[0].Measurements[0].nImage, 1);
  EXPECT_EQ(points[0].Measurements[0].x, 6.5);
}

TEST(Bundler, BrokenFiles) {
  const auto changed = [](std::string text, const std::string& what, const std::string& with) {
    return text.replace(text.find(what), what.size(), with);
  };
  const struct {
    std::string szText;
    int64_t nLine;
    const char* szWhat;
  } rows[] = {
      {"", 0, "the file ends before the number of cameras"},
      {changed(kBundle, "3 1\n", "99999999 1\n"), 2,
       "the number of cameras is 99999999, which is not between 0 and 6"},
      {changed(kBundle, "3 1\n", "-3 1\n"), 2, "the number of cameras is -3, which is not between 0 and 6"},
      {changed(kBundle, "500 -0.1", "5o0 -0.1"), 3, "\"5o0\" stands where a focal length should be"},
      {changed(kBundle, "1 0 0\n0 1 0", "1 0 0\n0 1 9"), 7, "the matrix of a camera is no rotation"},
      {changed(kBundle, "1 2 3\n", "1 2e300 3\n"), 17, "the translation of a camera is too large"},
      {changed(kBundle, "2 9 -50.25", "3 9 -50.25"), 20,
       "the camera of a view is 3, which is not between 0 and 2"},
      {changed(kBundle, "-50.25", "nan"), 20, "\"nan\" stands where x of a view should be"},
      {changed(kBundle, "19.5\n", "\n"), 20, "the file ends before y of a view"},
      {std::string(kBundle) + "1\n", 21, "the file goes on behind its counts"},
  };
  for (const auto& row : rows) {
    const ScratchFolder scratch;
    const Finding fault = FaultOf([&] { ReadText(scratch, ReadBundler, row.szText); });
    EXPECT_EQ(fault.szWhat, row.szWhat);
    EXPECT_EQ(fault.nLine, row.nLine) << row.szWhat;
    EXPECT_FALSE(fault.szRemedy.empty()) << row.szWhat;
  }
  const ScratchFolder scratch;
  EXPECT_EQ(FaultOf([&] { ReadText(scratch, ReadBundler, kBundle, "a\nb\n"); }).szWhat,
            "the list has 2 images, the model 3 cameras");
}

TEST(Bal, BrokenFiles) {
  const auto changed = [](std::string text, const std::string& what, const std::string& with) {
    return text.replace(text.find(what), what.size(), with);
  };
  const struct {
    std::string szText;
    const char* szWhat;
  } rows[] = {
      {"BZh91AY", "\"BZh91AY\" stands where the number of cameras should be"},
      {changed(kBal, "1 0 6.5", "2 0 6.5"),
       "the camera of an observation is 2, which is not between 0 and 1"},
      {changed(kBal, "1 0 6.5", "1 1 6.5"), "the point of an observation is 1, which is not between 0 and 0"},
      {changed(kBal, "\n501\n", "\n0\n"), "a focal length is not above 0"},
      {changed(kBal, "-1.5707963267948966", "1e300"), "the rotation of a camera is no angle in radians"},
      {changed(kBal, "\n1\n2\n3\n", "\n1\n2\n1e15\n"), "the translation of a camera is too large"},
      {changed(kBal, "6.5", "6e9"), "an observation is no place in an image"},
      {changed(kBal, " -8", ""), "the file ends before a coordinate of a point"},
      {std::string(kBal) + "7\n", "the file goes on behind its counts"},
  };
  for (const auto& row : rows) {
    const ScratchFolder scratch;
    EXPECT_EQ(FaultOf([&] { ReadText(scratch, ReadBal, row.szText); }).szWhat, row.szWhat);
  }
}

TEST(Bal, ThereAndBack) {
  NamedCamera named = EveryCamera()[3];
  ForeignCamera camera = CameraLike(named);
  camera.dCx = camera.nWidth / 2.0;
  camera.dCy = camera.nHeight / 2.0;
  ForeignModel model = MakeModel(camera);
  const ScratchFolder scratch;
  ExportOptions options;
  options.szOut = scratch / "problem.txt";
  WriteBal(model, options, Silent());
  ImportOptions source;
  source.szSource = options.szOut;
  ForeignModel back = ReadBal(source, Silent());
  ASSERT_EQ(back.Images.size(), model.Images.size());
  for (size_t i = 0; i < model.Images.size(); ++i) {
    for (size_t k = 0; k < 9; ++k) EXPECT_NEAR(back.Images[i].R[k], model.Images[i].R[k], 1e-14);
    for (size_t k = 0; k < 3; ++k) EXPECT_NEAR(back.Images[i].S[k], model.Images[i].S[k], 1e-11);
  }
  EXPECT_EQ(back.Cameras[0].dFx, camera.dFx);
  EXPECT_EQ(back.Cameras[0].Parameters, camera.Parameters);
  const auto before = AllPoints(model), after = AllPoints(back);
  ASSERT_EQ(before.size(), after.size());
  for (size_t i = 0; i < before.size(); ++i) {
    EXPECT_EQ(before[i].P, after[i].P);
    ASSERT_EQ(before[i].Measurements.size(), after[i].Measurements.size());
    for (size_t k = 0; k < before[i].Measurements.size(); ++k) {
      EXPECT_NEAR(before[i].Measurements[k].x, after[i].Measurements[k].x, 1e-9);
      EXPECT_NEAR(before[i].Measurements[k].y, after[i].Measurements[k].y, 1e-9);
    }
  }
}

TEST(Bal, OtherCamerasKeepTheirDirections) {
  for (const NamedCamera& named : EveryCamera()) {
    ForeignModel model = MakeModel(CameraLike(named));
    const ScratchFolder scratch;
    ExportOptions options;
    options.szOut = scratch / "problem.txt";
    WriteBal(model, options, Silent());
    ImportOptions source;
    source.szSource = options.szOut;
    ForeignModel back = ReadBal(source, Silent());
    const auto before = AllPoints(model), after = AllPoints(back);
    ASSERT_EQ(before.size(), after.size()) << named.szName;
    for (size_t i = 0; i < before.size(); ++i) {
      for (size_t k = 0; k < before[i].Measurements.size(); ++k) {
        const auto direction = [](const ForeignModel& of, const SurveyMeasurement& m) {
          const ForeignCamera& c =
              of.Cameras[static_cast<size_t>(of.Images[static_cast<size_t>(m.nImage)].nCamera)];
          return DirectionOf(c, {c.nWidth / 2.0 + m.x, c.nHeight / 2.0 - m.y}).value_or(LensPoint{NAN, NAN});
        };
        const LensPoint a = direction(model, before[i].Measurements[k]);
        const LensPoint b = direction(back, after[i].Measurements[k]);
        ASSERT_NEAR(a.u, b.u, 1e-12) << named.szName;
        ASSERT_NEAR(a.v, b.v, 1e-12) << named.szName;
      }
    }
  }
}

}  // namespace
}  // namespace orvo::exchange
