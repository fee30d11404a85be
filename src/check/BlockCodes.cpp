#include <array>

#include "check/Codes.h"

namespace orvo {
namespace {

using S = Severity;

constexpr CodeEntry kConventionCodes[] = {
    {"C001", S::Error, "y axis of the image down",
     "Rays of a sample of points meet once the sign of y is changed, and not as written. Image libraries "
     "count y "
     "downwards.",
     "Write x, -y, and y0 of the cameras with the other sign."},
    {"C002", S::Error, "origin in the upper left corner",
     "Rays of a sample of points meet once measurements are counted from the image centre with y up.",
     "Write x - w/2, h/2 - y for images of w by h pixels; the message gives the numbers."},
    {"C003", S::Error, "origin in the lower left corner",
     "Rays of a sample of points meet once measurements are counted from the image centre.",
     "Write x - w/2, y - h/2 for images of w by h pixels; the message gives the numbers."},
    {"C004", S::Error, "x and y exchanged", "Rays of a sample of points meet once x and y are exchanged.",
     "Write x to the right first, then y upwards."},
    {"C005", S::Error, "matrices transposed",
     "Rays of a sample of points meet with the transposed matrices: as written they turn object axes into "
     "camera axes.",
     "Write the transposed matrices, so that R (x, y, -f) is the ray in object space."},
    {"C006", S::Error, "camera axes with y down and z to the front",
     "Rays of a sample of points meet once the matrices are multiplied by diag(1, -1, -1) from the right.",
     "Write the second and third column with the other sign: Orvo's camera axes are x right, y up, z back."},
    {"C007", S::Error, "matrices from object to camera, y down and z to the front",
     "Rays of a sample of points meet with the transposed matrices times diag(1, -1, -1).",
     "Write the transposed matrices, then the second and third column with the other sign."},
    {"C008", S::Error, "translations for projection centres",
     "Rays of a sample of points meet once the three numbers behind a matrix are taken for the translation t "
     "from "
     "object to camera.",
     "Write the projection centre, -M' t for a matrix M from object to camera, and the matrix as the message "
     "tells."},
    {"C009", S::Error, "matrices turned about the viewing axis",
     "Rays of a sample of points meet once the images are turned by a quarter or half: photographs were "
     "rotated after "
     "their orientations were found, or the camera is mounted across.",
     "Write the columns of the matrices as the message tells."},
    {"C010", S::Error, "image axes and matrices in another convention",
     "Rays of a sample of points meet once both measurements and matrices are read otherwise.",
     "Write both as the message tells."},
    {"C011", S::Error, "matrices that are no rotations",
     "The rows of a matrix are not at right angles or not of length 1. A run takes three angles from it and "
     "goes on "
     "with another matrix.",
     "Write three rows of length 1 at right angles, with six decimals and more."},
    {"C012", S::Error, "mirrored matrices",
     "A matrix has the determinant -1: one side of it is left-handed. A run goes on with another matrix.",
     "Turn the sign of one axis, or exchange two, on the side that is wrong."},
    {"C013", S::Error, "origin in a corner",
     "Measurements run from 0 to the extent of the images, and no reading makes rays meet that could tell "
     "which "
     "corner is meant.",
     "Count from the image centre with y up."},
    {"C014", S::Error, "cameras that look away",
     "Rays meet, but for most points behind the cameras, and no other reading does better.",
     "Write matrices for camera axes with x right, y up and z back."},
};

constexpr CodeEntry kGeometryCodes[] = {
    {"G001", S::Warning, "rays that meet behind cameras",
     "More than 5 % of a sample of points lie behind a camera that measures them.",
     "Look for wrong matches, or for images whose orientation is wrong."},
    {"G002", S::Warning, "coordinates outside the images",
     "More than 1 % of the measurements lie outside the extent in the camera line, counted from the centre.",
     "Look at the measurements, and at width and height in the camera line."},
    {"G003", S::Note, "some coordinates outside the images", "Up to 1 % of the measurements lie outside.",
     "Look at these measurements."},
    {"G004", S::Warning, "unlikely focal length",
     "The focal length is below 0.3 or above 10 image widths. As a rule it is written in millimetres beside "
     "measurements in pixels.",
     "Write it in the unit of the measurements: millimetres divided by the size of a pixel."},
    {"G005", S::Note, "poor start", "Rays miss each other by more than 50 pixels at the start.",
     "Better orientations or a better focal length save iterations."},
    {"G006", S::Warning, "hopeless start", "Rays miss each other by more than 500 pixels at the start.",
     "Look at orientations, focal lengths and at the ordinals of images in the measurements."},
    {"G007", S::Warning, "block in pieces",
     "Some images share fewer than 3 points with all others, so that nothing holds the pieces together.",
     "Match points between the pieces, or adjust each on its own."},
    {"G008", S::Note, "image with few points", "An image has fewer than 12 points that other images share.",
     "Match more points on it."},
    {"G009", S::Warning, "image with too few points",
     "An image has fewer than 4 points that other images share: its orientation is not determined, or by "
     "nothing to "
     "spare.",
     "Match more points on it, or leave it out."},
    {"G010", S::Warning, "base too short",
     "For half of a sample of points the cameras are closer together than 5 % of their distance to the "
     "point, so that "
     "rays meet at angles that give no depth.",
     "Take images from places further apart into the block."},
    {"G011", S::Note, "focal length and height not separable",
     "The camera is an unknown, the ground is flat (relief below 2 % of the flying height), all views are "
     "near vertical, "
     "and there is no control in height: another focal length with another height fits as well.",
     "Keep the camera, or add control points or GPS positions."},
    {"G012", S::Note, "listed residuals are off",
     "The intersection of the listing corrects y with y - x0. Where x0 - y0 times the distortion is above "
     "0.1 pixel, "
     "listed residuals are larger than those of the adjustment.",
     "Judge by the verdict, which takes strict residuals."},
    {"G013", S::Note, "camera without extent", "Width or height of a camera is not above 0.",
     "Write both in pixels: thinning spreads points over them."},
    {"G014", S::Warning, "image off its place",
     "The rays of one image miss by more than 200 pixels the points that the other images see, which agree.",
     "Look at its orientation and its camera, at the ordinal in its measurements, or leave it out."},
    {"G015", S::Error, "principal point in a corner",
     "x0, y0 is a corner of the image, and measurements do not count from there.",
     "Write the principal point from the image centre, y up; the message tells the numbers."},
};

constexpr CodeEntry kControlCodes[] = {
    {"K001", S::Warning, "control measured once",
     "A control or check point is measured in fewer than two images of the block, and can't be held against "
     "it.",
     "Measure it in two images and more, or leave it out."},
    {"K002", S::Error, "easting and northing of control exchanged",
     "Control points fit the block once their first two coordinates are exchanged.",
     "Write easting first, then northing. Coordinate systems whose registered axes are north, east are "
     "common."},
    {"K003", S::Error, "control in feet", "Control points fit the block once they are taken for feet.",
     "Write metres: times 0.3048, or 1200/3937 for US survey feet."},
    {"K004", S::Error, "heights of control in feet",
     "Control points fit the block once their heights are taken for feet.", "Write heights in metres."},
    {"K005", S::Error, "control with a wrong sign",
     "Control points fit the block once a coordinate changes its sign.", "Write X east, Y north, Z up."},
    {"K006", S::Error, "heights of control off by a constant",
     "Control points fit the block but for one amount in height, as ellipsoidal heights and heights above "
     "the geoid differ, by more than a focal length makes that a run may still change.",
     "Write heights of one kind in all files."},
    {"K007", S::Error, "control points exchanged",
     "The rays of each of two points meet at the coordinates of the other.",
     "Exchange their coordinates, or their names."},
    {"K008", S::Warning, "control point off its place",
     "After a robust similarity, a point lies by far further from where its rays meet than the others.",
     "Look at its name, its coordinates and its measurements, or leave it out."},
    {"K009", S::Error, "control on a line",
     "Four and more control points lie on a line. The similarity that brings the block into their frame has "
     "no "
     "solution then, and the run ends.",
     "Add a point off the line."},
    {"K010", S::Warning, "three control points on a line",
     "Nothing holds the block against a turn about their line.", "Add a point off the line."},
    {"K011", S::Warning, "control in a corner",
     "All control points lie within 30 % of the block's extent. Errors grow with the distance from them.",
     "Spread them over the block, to its corners first."},
    {"K012", S::Error, "start not in the frame of the control",
     "With 1 to 3 control points a run expects orientations near their frame, and these are not.",
     "Write orientations in the frame of the control, add control points up to 4, or apply GPS positions."},
    {"K013", S::Error, "control that fits nothing", "No similarity brings the block near the control points.",
     "Look at names, coordinates and measurements of all of them."},
    {"K014", S::Note, "start in another frame",
     "Orientations are in a frame of their own. With 4 and more control points a run brings them over.",
     "Nothing has to be done."},
    {"K015", S::Error, "control in degrees", "Control coordinates look like longitude and latitude.",
     "Write metres in a Cartesian frame."},
    {"K016", S::Error, "similarity that a run does not find",
     "A similarity joins the block and its control points, but a run looks for it from frames with Z up, "
     "turned about "
     "the vertical, and finds none.",
     "Bring the orientations into a frame with Z up, roughly."},
    {"K017", S::Error, "control measured in other image axes",
     "Tie points fit the image axes, and the measurements of control points fit others: programs that "
     "measure "
     "control have conventions of their own.",
     "Write measurements of the GCP file in the axes of the tie points; the message tells how."},
    {"K018", S::Note, "heights of control off, or the focal length",
     "Control points lie off the block by one amount in height, which an error of the focal length makes as "
     "well as "
     "heights of another kind do.",
     "Look at both. An adjustment with unknown cameras finds the focal length; one that holds them has "
     "K006."},
    {"K019", S::Error, "similarity without control",
     "Absolute_Orientation is on, and fewer than 3 control points are measured in two images: the run ends.",
     "Switch Absolute_Orientation off, or add control points."},
};

constexpr CodeEntry kPositionCodes[] = {
    {"P001", S::Error, "angles of the standard omega, phi, kappa",
     "Angles agree with the orientations as R = Rx(omega) Ry(phi) Rz(kappa); Orvo's are R = Ry(-phi) "
     "Rx(omega) Rz(kappa).",
     "Convert them: phi = atan2(-R13, R33), omega = asin(-R23), kappa = atan2(R21, R22). The message gives "
     "those of the "
     "first image."},
    {"P002", S::Error, "yaw, pitch and roll of the aircraft",
     "Angles agree with the orientations as yaw, pitch and roll of a body whose camera looks down.",
     "Convert them; the message gives the angles of the first image."},
    {"P003", S::Error, "yaw, pitch and roll of the viewing axis",
     "Angles agree with the orientations as yaw, pitch and roll of a gimbal, pitch -90 looking down.",
     "Convert them; the message gives the angles of the first image."},
    {"P004", S::Error, "angles in radians", "Angles agree with the orientations as radians.",
     "Write degrees: times 57.29577951308232."},
    {"P005", S::Error, "phi before omega",
     "Angles agree with the orientations once the first two are exchanged.",
     "Write omega, phi, kappa in this order."},
    {"P006", S::Warning, "angles that agree with nothing",
     "Angles are more than 15 degrees off the orientations in the median, in every reading that is tried.",
     "Look at names, units and axes of the angles, or leave Apply_IMU_Data off."},
    {"P007", S::Note, "no angles", "All angles are 0, and the images are not turned like that.",
     "Leave Apply_IMU_Data off."},
    {"P008", S::Warning, "no angles, and they are applied", "All angles are 0, and Apply_IMU_Data is on.",
     "Switch Apply_IMU_Data off, or write the angles."},
    {"P009", S::Error, "positions in degrees", "Positions look like longitude and latitude.",
     "Write metres in a Cartesian frame, that of the control points where there are any."},
    {"P010", S::Error, "easting and northing of positions exchanged",
     "Positions fit the projection centres once their first two coordinates are exchanged.",
     "Write easting first, then northing."},
    {"P011", S::Error, "positions in feet",
     "Positions fit the projection centres once they are taken for feet.", "Write metres."},
    {"P012", S::Error, "heights of positions in feet",
     "Positions fit the projection centres once their heights are taken for feet.",
     "Write heights in metres."},
    {"P013", S::Error, "positions with a wrong sign",
     "Positions fit the projection centres once a coordinate changes its sign.",
     "Write X east, Y north, Z up."},
    {"P014", S::Error, "heights of positions off those of the control",
     "Orientations agree with the control points, and positions with the orientations but for one amount in "
     "height.",
     "Write heights of one kind, ellipsoidal or above the geoid, in both files."},
    {"P015", S::Note, "heights of positions off by a constant",
     "Positions agree with the projection centres but for one amount in height. Without control a run takes "
     "over the "
     "heights of the positions.",
     "Nothing has to be done, if these are the heights that are wanted."},
    {"P016", S::Warning, "positions exchanged",
     "The positions of two images fit each other's projection centres.",
     "Write each with the name of the other."},
    {"P017", S::Warning, "position off its place",
     "After a robust similarity, a position lies by far further from its projection centre than the others.",
     "Look at the name and the coordinates, or leave the line out."},
    {"P018", S::Warning, "positions that fit nothing",
     "No similarity brings the projection centres near the positions.",
     "Look at names and coordinates of the lines."},
    {"P019", S::Note, "image alone in its strip", "An image that is alone in its strip is not observed.",
     "Give it to the strip that it was flown with."},
    {"P020", S::Note, "strip 0 or below",
     "Strips count from 1. When no strip is above 0, all images are one group; below 0 they are not "
     "observed.",
     "Number strips from 1, and start a new one with each flight line."},
    {"P021", S::Error, "no image is observed",
     "GPS or IMU data are applied, and every image is alone in its strip or has a strip below 0.",
     "Give all images of a flight line one number from 1, or 0 to all where there are no flight lines."},
    {"P022", S::Warning, "position 0 0 0",
     "A position of exactly 0 0 0, which programs write where they have none, counts as an observation.",
     "Leave the line out."},
    {"P023", S::Error, "angles in gon",
     "Angles agree with the orientations as gon, of which 400 are a circle.", "Write degrees: times 0.9."},
};

template <size_t... N>
constexpr auto Joined(const CodeEntry (&... tables)[N]) {
  std::array<CodeEntry, (N + ...)> all{};
  size_t n = 0;
  const auto add = [&](const auto& table) {
    for (const CodeEntry& entry : table) all[n++] = entry;
  };
  (add(tables), ...);
  return all;
}

constexpr auto kCodes = Joined(kConventionCodes, kGeometryCodes, kControlCodes, kPositionCodes);

}  // namespace

std::span<const CodeEntry> BlockCodes() { return kCodes; }

}  // namespace orvo
