#include "check/Codes.h"

namespace orvo {
namespace {

using enum Severity;

constexpr CodeEntry kCodes[] = {
    {"S001", Error, "A file can't be read",
     "There is no such file, it is a folder, access is denied, or the disk fails.",
     "Check path and permissions. An .ovc project needs its .ovt file beside it."},
    {"S002", Note, "Byte order mark",
     "The file begins with the three bytes EF BB BF. They are passed over here, but other programs take them "
     "for "
     "a part of the first field.",
     "Save the file as UTF-8 without a mark."},
    {"S003", Error, "Not plain text",
     "A line holds a zero byte, or the file is UTF-16. What follows a zero byte is lost.",
     "Save the file as plain text or UTF-8. Where it was damaged, copy or write it anew."},
    {"S004", Error, "Line too long",
     "Lines of more than 510 characters are read as several, and everything behind them is out of step.",
     "Shorten the line, mostly the path of a photograph."},
    {"S005", Warning, "Name too long",
     "Names of points are cut behind 31 bytes, those of images behind 127. Cut names may become equal, and "
     "no "
     "POS line finds a cut image name.",
     "Shorten the name."},
    {"S006", Error, "Comma in a number",
     "Numbers are read up to the comma, and the fields behind it are lost.",
     "Write numbers with a decimal point, and separate fields by blanks."},
    {"S007", Error, "Not a number",
     "A field that has to hold a number holds something else. It and the rest of its line are not read.",
     "Write a plain number. Look for a missing, doubled or split field before it, such as a name with a "
     "blank."},
    {"S008", Error, "Something behind a number",
     "A number is read up to its last digit, and what stands behind it without a blank is passed over, as in "
     "12abc or in 3600.5 for a whole number.",
     "Put a blank behind the number, or write it as it is meant."},
    {"S009", Error, "Fields missing",
     "A line has fewer fields than it needs. Those that are missing keep a value of 0 or of the line before.",
     "Complete the line. Look for a line that was broken in two."},
    {"S010", Error, "Empty line or comment",
     "Lines are counted, and an empty line or a comment puts everything behind it out of step.",
     "Remove the line."},
    {"S011", Error, "The file ends too early",
     "There is less in the file than its counts say: it was cut off, or a count is wrong.",
     "Copy the file anew, or correct the counts in its first line."},
    {"S012", Error, "The file goes on behind its counts",
     "There is more in the file than its counts say, and it would not be read.",
     "Correct the counts in the first line, or look for a doubled line."},
    {"S013", Error, "Cameras or images out of step",
     "A line has so few fields that it can't be the one that is expected there. Nothing behind it was looked "
     "at.",
     "Look for a missing or doubled line before it, and compare the counts in the first line."},
    {"S014", Error, "A count or type that can't be",
     "The first line does not hold the counts of its form, or a count or the type of a point is out of "
     "range.",
     "Correct it. The forms are told on the page of the file formats."},
    {"S015", Note, "The last line has no end",
     "Files that were cut off end so, and then their last number may be cut, too.",
     "Compare the last number with the source where you don't know how the file was made."},
    {"S016", Error, "Negative image ID", "An image ID below 0 ends the run.",
     "Number images from 0 or above."},
    {"S017", Error, "A number that is not finite",
     "A measurement or the coordinates of a point are inf or nan.",
     "Leave such measurements and control points out where the file is made; write 0 for coordinates of tie "
     "points that are not known."},
    {"S018", Error, "Points out of step",
     "A point does not have the lines that its counts say: a measurement, a count or the line of a point "
     "stands "
     "in the place of another.",
     "Look for a missing or doubled line there, or correct the number of measurements of the point."},
    {"S019", Note, "POS line without a fix", "A line with a number that is not finite is passed over.",
     "Leave out the line of an image without a fix."},
    {"S020", Error, "Order of a tie-point file",
     "The measurements of a point do not follow those of the point before it, or leave the file.",
     "Write the file anew: the measurements of a point stand together, and points in their order."},
    {"S021", Note, "Short POS lines",
     "The lines end behind the position or behind the angles, so that all images are one group of drift.",
     "Write all eight fields, with strips numbered from 1."},
};

}  // namespace

std::span<const CodeEntry> FileCodes() { return kCodes; }

}  // namespace orvo
