// The style sheet of the page. Colours are told apart by people who see few of them, and each has one value
// for light and paper and one for dark.
//
// Classes of what is drawn. A colour class names the colour, a shape class says what is coloured with it:
// "line s1", "area good", "dot s3".
//   colours   s1 to s8                    series; more than eight begin again with other shapes
//             good doubtful unusable      grades; never without a word or sign beside
//             h0 to h5                    heat steps, few to many; h0 and h1 are the ones to worry about
//             z0 to z6                    steps of height, low to high
//             plain                       that of the text, weaker
//   shapes    line                        stroked, 1.5 px; "thin" 0.75 px, "thick" 2.5 px, "dashed"
//             area                        filled; "faint" lets shine through what is below
//             dot                         filled with a rim of paper
//             dots                        Svg::Path of SvgPath::Dot: round dots of 5 px; "small" 3 px
//             ring                        stroked, not filled, 1.5 px
//             bar                         stroked, 5 px
//             label                       text in the colour
//             mark                        a sign in the colour of the text, such as those of ground points
//             feet                        filled and stroked so weakly that many can lie over each other
//             cells                       with area: squares side by side, without seams
//   texts     text (12 px), axis (12 px, weaker), strong, halo (over a drawing)
//   frames    grid, edge, frame           behind, axes and ticks, rim of a map
//             zero                        line of no difference
//             hatch                       strokes over what is doubtful, where colour alone would say so
//             gap                         between parts of a bar
//
// Classes of the page.
//   figure "wide" (two columns), "plate" (the whole width on paper); div "figures" (side by side), "columns"
//   (as newspapers have them), "panels" (small pictures of one figure), "scroll"; p "lead" (larger), "hint"
//   (weaker); table cells "n" (numbers), "long" (sentences); rows "total", "good", "doubtful", "unusable",
//   "changed"
#pragma once

#include <string_view>

namespace orvo::report {

/// What stands within <style>.
std::string_view StyleSheet();

}  // namespace orvo::report
