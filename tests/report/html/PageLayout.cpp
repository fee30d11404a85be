#include "report/html/PageLayout.h"

#include <cstdlib>

#include "report/html/PageChecks.h"
#include "support/TestFiles.h"

namespace orvo::test {
namespace {

/// Measures the page that it is appended to, and writes what is wrong into that around it.
constexpr char kMeasure[] = R"html(<script>
const wrong = [], width = document.documentElement.clientWidth;
const told = (what, e) => wrong.push(what + ': ' + (e.textContent || e.tagName).trim().slice(0, 60));
if (document.documentElement.scrollWidth > width) wrong.push('the page is wider than the window');
for (const e of document.querySelectorAll('body *')) {
  const box = e.getBoundingClientRect();
  if (!e.closest('.scroll') && box.width > 0 && box.right > width + 0.5) told('beyond the window', e);
  if (e.matches('p,li,td,th,figcaption,caption,h1,h2,h3') && e.scrollWidth > e.clientWidth + 1 && e.clientWidth > 0)
    told('wider than its box', e);
}
let texts = 0;
for (const svg of document.querySelectorAll('svg')) {
  const rim = svg.getBoundingClientRect(), scale = rim.width / svg.viewBox.baseVal.width;
  if (12 * scale < 9) told('too small to be read', svg);
  const all = [...svg.querySelectorAll('text')].map(e => ({e, b: e.getBoundingClientRect()}));
  texts += all.length;
  for (const {e, b} of all)
    if (b.left < rim.left - 1 || b.right > rim.right + 1 || b.top < rim.top - 1 || b.bottom > rim.bottom + 1)
      told('beyond its picture "' + svg.querySelector('title').textContent + '"', e);
  for (let i = 0; i < all.length; ++i)
    for (let k = i + 1; k < all.length; ++k) {
      const a = all[i].b, b = all[k].b;
      const x = Math.min(a.right, b.right) - Math.max(a.left, b.left);
      const y = Math.min(a.bottom, b.bottom) - Math.max(a.top, b.top);
      if (x > 1 && y > 2.5) told('over ' + all[k].e.textContent, all[i].e);
    }
}
parent.document.getElementById('measured').textContent = innerWidth + ' px, ' + texts + ' texts\n' + wrong.join('\n');
</script>)html";

std::string AsAttribute(const std::string& page) {
  std::string text;
  for (const char c : page) text += c == '&' ? "&amp;" : c == '"' ? "&quot;" : std::string(1, c);
  return text;
}

}  // namespace

/// A browser's own window has a least width, a frame has none.
std::string Measured(const std::string& page, int width) {
  const ScratchFolder folder;
  WriteFile(folder / "frame.html", "<!DOCTYPE html><pre id=\"measured\"></pre><iframe width=\"" +
                                       std::to_string(width) +
                                       "\" height=\"1000\" style=\"border:0\" srcdoc=\"" +
                                       AsAttribute(page + kMeasure) + "\"></iframe>");
  const std::string command = "timeout 120 chromium --headless --no-sandbox --disable-gpu --hide-scrollbars" +
                              (" --user-data-dir='" + (folder / "profile")) +
                              "' --window-size=1700,1000 --dump-dom 'file://" + (folder / "frame.html") +
                              "' > '" + (folder / "dom") + "' 2> /dev/null";
  if (std::system(command.c_str()) != 0) return {};
  const auto said = AllBetween(ReadFile(folder / "dom"), "<pre id=\"measured\">", "</pre>");
  return said.empty() ? std::string() : said.front();
}

bool HasBrowser() { return std::system("command -v chromium > /dev/null 2>&1") == 0; }

}  // namespace orvo::test
