#include "report/html/Style.h"

namespace orvo::report {
namespace {

constexpr std::string_view kStyle = R"css(
:root{color-scheme:light dark;
--paper:#fff;--card:#f6f7f9;--ink:#1b1f24;--weak:#59626d;--rule:#d5dae0;--grid:#e4e8ec;--link:#0058a3;
--s1:#0072b2;--s2:#d55e00;--s3:#009e73;--s4:#c2619a;--s5:#d99100;--s6:#3d9fd6;--s7:#7c7000;--s8:#555;
--good:#007a5a;--doubtful:#a86400;--unusable:#c02f1d;--goodbg:#e4f4ee;--doubtfulbg:#fdf1dc;--unusablebg:#fce6e2;
--h0:#b5361c;--h1:#f0a35e;--h2:#d6e6f4;--h3:#9cc4e2;--h4:#4b8fc6;--h5:#134a86;
--z0:#26456e;--z1:#2f7a9a;--z2:#4ba58c;--z3:#8cc26f;--z4:#d6d36a;--z5:#dba354;--z6:#b56a3c}
@media screen and (prefers-color-scheme:dark){:root{
--paper:#14181d;--card:#1d232a;--ink:#e6e9ed;--weak:#a3adb8;--rule:#3a444f;--grid:#29313a;--link:#7cbcf5;
--s1:#56a9e4;--s2:#f08a4b;--s3:#35c49a;--s4:#e29ac4;--s5:#f0b63c;--s6:#9bd3f5;--s7:#d8cc58;--s8:#b8bec5;
--good:#4fd0a5;--doubtful:#f2b950;--unusable:#ff8b78;--goodbg:#17332b;--doubtfulbg:#3a2d14;--unusablebg:#40201b;
--h0:#e8593b;--h1:#c98445;--h2:#2d4c6b;--h3:#3f70a0;--h4:#6fadde;--h5:#cfe9fd;
--z0:#4a6fa5;--z1:#3f93b5;--z2:#58b79c;--z3:#97cc7a;--z4:#ddd972;--z5:#e0aa5d;--z6:#c87f50}}
*{box-sizing:border-box}
html{-webkit-text-size-adjust:100%;text-size-adjust:100%}
body{margin:0;background:var(--paper);color:var(--ink);overflow-wrap:anywhere;
font:16px/1.5 system-ui,-apple-system,"Segoe UI",Roboto,"Noto Sans","Liberation Sans",Arial,sans-serif}
main,header,footer{max-width:1560px;margin:0 auto;padding:0 16px}
header{padding-top:20px}
h1{font-size:1.7rem;line-height:1.2;margin:0 0 4px}
h2{font-size:1.3rem;line-height:1.25;margin:0 0 10px;padding-top:18px;border-top:2px solid var(--rule)}
h3{font-size:1.05rem;margin:20px 0 6px}
section{margin:30px 0 0}
p{margin:0 0 10px;max-width:75ch}
a{color:var(--link)}
.lead{font-size:1.1rem}
.hint,figcaption,caption,footer{color:var(--weak);font-size:.9rem;line-height:1.45}
footer{padding:20px 16px 28px}
nav ul{list-style:none;margin:14px 0 0;padding:0;display:flex;flex-wrap:wrap;gap:4px 16px}
.tiles{list-style:none;display:flex;flex-wrap:wrap;gap:10px;margin:16px 0 0;padding:0}
.tiles li{flex:1 1 148px;max-width:320px;background:var(--card);border-radius:6px;padding:9px 12px 10px;border-left:4px solid var(--rule)}
.tiles .term,.tiles .note{display:block;color:var(--weak);font-size:.85rem;line-height:1.3}
.tiles b{display:block;margin:2px 0 0;font-size:1.2rem;font-weight:600;font-variant-numeric:tabular-nums;line-height:1.3}
.tiles .good{border-color:var(--good)}.tiles .doubtful{border-color:var(--doubtful)}.tiles .unusable{border-color:var(--unusable)}
.tiles .good b,.grade.good strong,b.good{color:var(--good)}
.tiles .doubtful b,.grade.doubtful strong,b.doubtful{color:var(--doubtful)}
.tiles .unusable b,.grade.unusable strong,b.unusable{color:var(--unusable)}
.grade{border-left:6px solid var(--rule);border-radius:6px;padding:12px 16px;margin:0 0 12px;background:var(--card)}
.grade.good{border-color:var(--good);background:var(--goodbg)}
.grade.doubtful{border-color:var(--doubtful);background:var(--doubtfulbg)}
.grade.unusable{border-color:var(--unusable);background:var(--unusablebg)}
.grade p:last-child{margin-bottom:0}
.grade strong{font-size:1.35rem}
.reasons{list-style:none;margin:0 0 14px;padding:0;display:grid;gap:10px;
grid-template-columns:repeat(auto-fit,minmax(min(100%,440px),1fr))}
.reasons li{border:1px solid var(--rule);border-left-width:5px;border-radius:6px;padding:9px 14px}
.reasons li.doubtful{border-left-color:var(--doubtful)}.reasons li.unusable{border-left-color:var(--unusable)}
.reasons p{margin:2px 0 0}
.figures{display:grid;grid-template-columns:repeat(auto-fit,minmax(min(100%,500px),1fr));gap:18px 28px;align-items:start}
figure{margin:0 0 14px;min-width:0}
figcaption{margin-top:4px;max-width:75ch}
@media (min-width:1064px){figure.wide{grid-column:span 2}}
.columns{columns:460px;column-gap:28px}
.columns>*{break-inside:avoid;margin:0 0 18px}
.panels{display:grid;grid-template-columns:repeat(auto-fill,minmax(min(100%,340px),1fr));gap:6px 16px}
.panels svg{min-width:min(var(--w),340px)}
.scroll{overflow-x:auto;max-width:100%}
.table{margin:0 0 12px;max-height:30rem;overflow-y:auto}
table{border-collapse:collapse;font-size:.92rem;line-height:1.35;font-variant-numeric:tabular-nums}
caption{caption-side:top;text-align:left;padding:0 0 6px}
th,td{padding:4px 10px;text-align:left;vertical-align:top;border-bottom:1px solid var(--rule);overflow-wrap:normal}
th:first-child,td:first-child{padding-left:6px;overflow-wrap:anywhere;min-width:6.5em}
thead th{position:sticky;top:0;background:var(--card);z-index:1;font-weight:600;vertical-align:bottom}
tbody th{font-weight:400}
.n{text-align:right;white-space:nowrap}
thead .n{white-space:normal}
.long{min-width:11em;max-width:60ch}
tr.total th,tr.total td{font-weight:600;border-top:2px solid var(--rule)}
tr.changed th{font-weight:600}
tr.doubtful th,tr.doubtful td{background:var(--doubtfulbg)}
tr.unusable th,tr.unusable td{background:var(--unusablebg)}
svg{display:block;width:100%;max-width:var(--w);min-width:min(var(--w),500px);height:auto}
svg text{font-size:12px;fill:var(--ink);font-variant-numeric:tabular-nums}
svg .axis{fill:var(--weak)}svg .strong{font-weight:600}
.grid{stroke:var(--grid);stroke-width:1}
.edge{stroke:var(--weak);stroke-width:1;fill:none}
.frame{stroke:var(--rule);stroke-width:1;fill:none}
.zero{stroke:var(--weak);stroke-width:1;stroke-dasharray:4 3}
.hatch{stroke:var(--ink);stroke-width:.8;fill:none}
.plain{--c:var(--weak)}
.s1{--c:var(--s1)}.s2{--c:var(--s2)}.s3{--c:var(--s3)}.s4{--c:var(--s4)}
.s5{--c:var(--s5)}.s6{--c:var(--s6)}.s7{--c:var(--s7)}.s8{--c:var(--s8)}
svg .good{--c:var(--good)}svg .doubtful{--c:var(--doubtful)}svg .unusable{--c:var(--unusable)}
.h0{--c:var(--h0)}.h1{--c:var(--h1)}.h2{--c:var(--h2)}.h3{--c:var(--h3)}.h4{--c:var(--h4)}.h5{--c:var(--h5)}
.z0{--c:var(--z0)}.z1{--c:var(--z1)}.z2{--c:var(--z2)}.z3{--c:var(--z3)}.z4{--c:var(--z4)}.z5{--c:var(--z5)}.z6{--c:var(--z6)}
.line,.ring{fill:none;stroke:var(--c);stroke-width:1.5;stroke-linejoin:round;stroke-linecap:round}
.ring{fill:var(--paper);fill-opacity:.4}
.area{fill:var(--c);stroke:none}
.feet{fill:var(--c);fill-opacity:.06;stroke:var(--c);stroke-opacity:.3;stroke-width:.5}
.area.faint{fill-opacity:.16;stroke:var(--c);stroke-opacity:.35;stroke-width:.5}
.dot{fill:var(--c);stroke:var(--paper);stroke-width:.8}
.dots{fill:none;stroke:var(--c);stroke-width:5;stroke-linecap:round}
.dots.small{stroke-width:3}
.dots.weak{stroke-opacity:.45}
.bar{fill:none;stroke:var(--c);stroke-width:5;stroke-opacity:.75}.bar.dashed{stroke-dasharray:5 3}
.mark{fill:var(--paper);fill-opacity:.75;stroke:var(--ink);stroke-width:1.5}
.cells{shape-rendering:crispEdges}
.gap{stroke:var(--paper);stroke-width:1.5}
svg .halo{paint-order:stroke;stroke:var(--paper);stroke-width:3;stroke-opacity:.8;stroke-linejoin:round}
.thin{stroke-width:.75}.thick{stroke-width:2.5}.dashed{stroke-dasharray:6 4}
svg text.label{fill:var(--c)}
@media print{
@page{size:A4;margin:16mm 14mm}
body{font-size:10pt;line-height:1.4}
main,header,footer{max-width:none;padding-left:0;padding-right:0}
*{-webkit-print-color-adjust:exact;print-color-adjust:exact}
nav{display:none}
a{color:inherit;text-decoration:none}
section{margin-top:18pt}
h2,h3,h2+p,h3+p,caption,header{break-after:avoid}
p{break-inside:avoid}
footer{break-before:avoid;padding:8pt 0 0}
figure,svg,tr,.reasons li,.tiles li,.grade{break-inside:avoid}
.figures{grid-template-columns:repeat(2,minmax(0,1fr));gap:8pt 14pt}
.figures>:not(figure),figure.wide,figure.plate{grid-column:span 2}
.scroll,.table{overflow:visible;max-height:none}
svg{min-width:0;max-width:min(var(--w),125mm)}
.panels{grid-template-columns:repeat(2,1fr)}
.panels svg{min-width:0}
thead{display:table-header-group}
thead th{position:static}
table{font-size:8.5pt}
th,td{padding:2pt 5pt}
.tiles li{flex-basis:36mm}
}
)css";

}  // namespace

std::string_view StyleSheet() { return kStyle; }

}  // namespace orvo::report
