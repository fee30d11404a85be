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
    {"R001", Error, "No such image",
     "A measurement is on an image ordinal outside the project. Ordinals are places in the file, counted "
     "from 0; "
     "the IDs in the image blocks serve messages only.",
     "Write ordinals. Where they were counted from 1, subtract 1 from all of them."},
    {"R002", Error, "No such camera", "An image is on a camera ordinal outside the project.",
     "Write the place of the camera in the file, counted from 0."},
    {"R003", Warning, "Two images of one name, with a POS file",
     "Several images have one name, and POS lines reach only the first of them.",
     "Rename the files, or give their images observations of their own."},
    {"R004", Note, "Two images of one name",
     "Several images have one name. Without a POS file nothing refers to images by name.",
     "Rename them before a POS file is used."},
    {"R005", Warning, "Image without a name, with a POS file",
     "The path of the photograph has no separator, or a blank before it, so that no POS line finds the "
     "image.",
     "Write a folder before the file name, such as ./, and no blank in the path."},
    {"R006", Note, "Image without a name",
     "The path of the photograph has no separator, or a blank before it.",
     "Write a folder before the file name before a POS file is used."},
    {"R007", Warning, "POS name spelled otherwise",
     "A POS line has the name of no image, and an image without a line has nearly that name, with the same "
     "numbers in it.",
     "Write names as the project has them: without folder and extension, upper and lower case alike."},
    {"R008", Note, "POS line without an image", "No image is called so, and the line is passed over.",
     "Nothing is to be done where the flight has more images than the block."},
    {"R009", Error, "No image has a POS line", "None of the names of the POS file is that of an image.",
     "Write names as the project has them: without folder and extension, upper and lower case alike."},
    {"R010", Note, "Images without a POS line", "They are not observed.", "Add lines where there are fixes."},
    {"R011", Error, "Two POS lines for one image", "The last of them would count.",
     "Remove one of the lines."},
    {"R012", Warning, "Measured twice in one image",
     "A point has two measurements in one image, which mostly is a wrong match, and both count.",
     "Leave one of the two out, or the point."},
    {"R013", Warning, "Camera left out",
     "The focal length is not above 0 and at most 1e6, or the principal point is not finite. All its images "
     "are "
     "left out with it, and where cameras are unknowns, cameras behind it may be, too.",
     "Give f, x0 and y0 in image units, such as pixels, or take the camera and its images out."},
    {"R014", Warning, "Image left out",
     "The position is exactly 0 0 0, or position or angles are not finite.",
     "Give the image a start position and a rotation matrix."},
    {"R015", Warning, "Image without tie points",
     "An image without a tie point is left out of an adjustment.",
     "Match it with its neighbours, or take it out of the project."},
    {"R016", Warning, "Distortion taken for 0",
     "A k1 beyond 1e-5 or a k2 beyond 1e-11 in magnitude, or one that is not finite, counts as 0. So do "
     "further terms of a line marked to have them, where not all five are numbers.",
     "Give k1 per squared and k2 per fourth power of an image unit."},
    {"R017", Warning, "Camera without images",
     "Where cameras are unknowns, cameras behind a camera without images may be left out with all their "
     "images.",
     "Take the camera out, and renumber those behind it in the image blocks."},
    {"R018", Warning, "Point lost with an image",
     "In a text project a point is left out whole when one of its measurements is on an image that is left "
     "out.",
     "Correct the image, or take its measurements out."},
    {"R019", Warning, "Measurements lost with an image",
     "In an .ovt the measurements on an image that is left out are set aside.",
     "Correct the image, or take its measurements out."},
    {"R020", Note, "Points with fewer than 2 measurements", "They determine nothing.", "Leave them out."},
    {"R021", Warning, "Two control points of one name", "They count as two points.",
     "Put their measurements together, or rename one."},
    {"R022", Note, "Control of type 0", "A point of the GCP file is neither control nor check point.",
     "Control points have type 1, check points type 2."},
    {"R023", Note, "Control on an image that is left out", "Such a measurement does not count.",
     "Correct the image."},
    {"R024", Warning, "Control among the tie points",
     "Points of another type than 0 in the project are mixed up with those of the GCP file when coordinates "
     "are "
     "normalised.",
     "Write them into the GCP file."},
    {"R025", Error, "Nothing to adjust",
     "No image and no tie point with two measurements is left of the block, and an adjustment has no "
     "unknowns.",
     "Look at what the warnings about cameras, images and points say, and at the counts of the files."},
    {"R026", Warning, "Distortion beyond k1 and k2",
     "The line of the camera holds k3, p1, p2, b1 and b2. The rigorous method follows them, the classic one "
     "takes them for 0.",
     "Adjust with --method rigorous, or correct the measurements before."},
    {"A001", Error, "Settings can't be read", "The settings file is there and can't be opened or read.",
     "Check path and permissions."},
    {"A002", Error, "Settings are no XML",
     "The file ends in .xml, and a tag is not closed, say, or there is none.",
     "Start from a file that works, such as examples/seneca/AdjPara.xml."},
    {"A003", Error, "No setting is found",
     "In the XML form Adjustment_parameters, POS_parameters, Weight and GPU_parameters stand side by side, "
     "with "
     "no root element around them; in the colon form a line holds key:value.",
     "Take a root element away. Files of the XML form have to end in .xml, others must not."},
    {"A004", Error, "A value that is none",
     "A switch of the XML form is true or false in small letters, in the colon form 0 or 1; numbers have a "
     "decimal point and nothing behind them.",
     "Write such a value."},
    {"A005", Note, "A setting stands twice",
     "In the XML form the first one counts, in the colon form the last.", "Remove one of them."},
    {"A006", Note, "A setting is missing",
     "In the XML form it counts as false or 0, in the colon form as its default.",
     "Write it where it is to be something else."},
    {"A007", Warning, "A setting spelled otherwise",
     "A name is none of a setting, or stands in another element, and is passed over; a setting has nearly "
     "that "
     "name.",
     "Write the name as the table of settings has it."},
    {"A008", Note, "An unknown setting", "A name is none of a setting, and is passed over.", "Remove it."},
    {"A009", Error, "No POS file", "Apply_GPS_Data or Apply_IMU_Data is on, and no POS file is named.",
     "Name a POS file, or switch both off."},
    {"A010", Error, "A scale of 0",
     "Image_Coor_Scale or Object_Coor_Scale is 0, as where it is missing in the XML form, which makes "
     "everything 0.",
     "Write 0.001 for images measured in pixels, and 1."},
    {"A011", Error, "No unknowns", "Neither images nor cameras are unknowns of an adjustment.",
     "Set Set_EOP_Unknown, or Set_IOP_Unknown, or one of the modes without adjustment."},
    {"A012", Error, "Thinning without cells",
     "Resampling_Points is on and Point_Resample_Number is below 1, as where it is missing in the XML form.",
     "Write 6, or switch Resampling_Points off."},
    {"A013", Note, "What the weights mean",
     "Weights of GPS positions, angles and control points as accuracies in this block, beside measurements "
     "that "
     "are good to half a pixel.",
     "Compare them with what the observations are worth; how to choose them is told on the page of the "
     "settings."},
    {"A014", Warning, "Weight without end",
     "An accuracy of 0, as where it is missing in the XML form, makes a weight that is not finite.",
     "Write the accuracies, as the page of the settings has them."},
    {"A015", Note, "A POS file that is not used",
     "A POS file is named, and Apply_GPS_Data and Apply_IMU_Data are off. It is checked nevertheless; "
     "orvo adjust refuses to leave it aside without --ignore-unused.",
     "Switch one of them on, or leave the file away."},
    {"A016", Warning, "A value that leaves nothing to adjust",
     "No iteration is allowed, or measurements have no weight.", "Write a number above 0."},
    {"A017", Warning, "An unusual unit of images",
     "Image_Coor_Scale makes the focal length longer than 1000 working units, and limits and damping are "
     "made "
     "for some ten: 0.001 for measurements in pixels, 1 for millimetres.",
     "Write 0.001 for images measured in pixels."},
    {"A018", Error, "A value that the rigorous method can't take",
     "A setting of --method rigorous is no number, a number outside of what it can be, or a word that it "
     "does "
     "not know.",
     "Write one of the values that orvo settings --explain KEY tells."},
    {"A019", Error, "No setting of the rigorous method",
     "A name in the element Rigorous is none of its settings, or one of them stands elsewhere. What is "
     "missing "
     "has its default, so that a misspelt name would go unnoticed.",
     "Write the name as the table of these settings has it, or remove it."},
    {"M001", Note, "Memory of the points",
     "What the points of the block are reckoned to take, in how many sections they are read, and what the "
     "equations take.",
     "More memory, or --memory, makes fewer sections; Apply_PCG_Model makes smaller equations."},
    {"M002", Error, "A text project of several sections",
     "The text project does not fit into the memory at once, and its later sections would be read out of "
     "step.",
     "Count on more with --memory, or convert the project to .ovc and .ovt."},
    {"M003", Error, "The dense equations don't fit",
     "The matrix of the dense form takes more than nine tenths of the free memory.",
     "Set Apply_PCG_Model true."},
};

}  // namespace

std::span<const CodeEntry> FileCodes() { return kCodes; }

}  // namespace orvo
