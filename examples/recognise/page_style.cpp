#include "recognise/page_parts.h"

namespace zelsr::examples::report {

// Colours that tell series apart differ in lightness too. On paper the page is always light.
std::string_view page_styles()
{
    return R"(
:root {
  --page: #ffffff; --ink: #1c2733; --soft: #556270; --rule: #d3dae1; --card: #f4f6f8;
  --right: 30, 102, 168; --wrong: 206, 84, 0;
  --s0: #0b3a6b; --s1: #c8500a; --s2: #2e9a86; --s3: #7d3c98; --s4: #c99700; --s5: #6d7f92;
  --quiet: #8a96a3;
}
@media screen and (prefers-color-scheme: dark) {
  :root {
    --page: #12171d; --ink: #e4e9ee; --soft: #a3afbb; --rule: #35404b; --card: #1b222a;
    --right: 92, 164, 232; --wrong: 240, 130, 50;
    --s0: #cfe2f7; --s1: #f08a3c; --s2: #4fb8a3; --s3: #b98ad6; --s4: #f2d16b; --s5: #8d9cab;
    --quiet: #7f8b98;
  }
  .levels image { filter: invert(1) hue-rotate(180deg); }
}
* { box-sizing: border-box; }
body {
  margin: 0 auto; padding: 1.5rem 1rem 4rem; max-width: 70rem; background: var(--page); color: var(--ink);
  font: 1rem/1.5 system-ui, 'Helvetica Neue', Helvetica, Arial, 'DejaVu Sans', sans-serif;
}
h1 { font-size: 1.7rem; line-height: 1.2; margin: 0.5rem 0; }
h2 { font-size: 1.25rem; margin: 0 0 0.5rem; padding-top: 1.4rem; border-top: 1px solid var(--rule); }
h3 { font-size: 1rem; margin: 1.4rem 0 0.3rem; }
p { margin: 0.4rem 0 0.8rem; max-width: 46rem; }
a { color: rgb(var(--right)); }
section { margin-top: 2rem; }
nav { display: flex; flex-wrap: wrap; gap: 0.2rem 1.2rem; margin: 1rem 0; }
.headline { background: var(--card); border-left: 5px solid rgb(var(--right)); padding: 0.8rem 1.1rem; margin: 1rem 0; }
.headline strong { display: block; font-size: 2.8rem; line-height: 1.1; font-variant-numeric: tabular-nums; }
.headline p { margin: 0.2rem 0 0; max-width: none; }
.soft, figcaption { color: var(--soft); font-size: 0.92rem; }
.remarks { border-left: 5px solid rgb(var(--wrong)); padding: 0.1rem 1.1rem; margin: 1rem 0; }
.wide { overflow-x: auto; margin: 0.2rem 0 1rem; }
figure { margin: 0.8rem 0 1.2rem; }
figure .wide { margin: 0; }
figcaption { max-width: 46rem; margin-top: 0.3rem; }
pre { background: var(--card); padding: 0.8rem 1.1rem; overflow-x: auto; font-size: 0.9rem; }
details { margin: 0.3rem 0 1rem; }
summary { cursor: pointer; }

table { border-collapse: collapse; font-variant-numeric: tabular-nums; }
.caption { color: var(--soft); font-size: 0.92rem; margin: 0.8rem 0 0.2rem; max-width: none; }
th, td { padding: 0.22rem 0.8rem; text-align: left; vertical-align: top; border-bottom: 1px solid var(--rule); }
thead th { border-bottom: 2px solid var(--soft); vertical-align: bottom; font-size: 0.92rem; }
tbody th { font-weight: 600; white-space: nowrap; position: sticky; left: 0; background: var(--page); }
td.number { white-space: nowrap; }
.number { text-align: right; }
.facts th { font-weight: 400; color: var(--soft); white-space: normal; }
.facts thead { display: none; }
.note { color: var(--soft); min-width: 18rem; }

.matrix { font-size: 0.85rem; }
.matrix th, .matrix td { padding: 0.16rem 0.3rem; }
.matrix td { min-width: 2.1rem; text-align: center; border: 1px solid var(--rule); }
.matrix thead th { text-align: center; font-size: inherit; font-weight: 600; }
.matrix thead th.number span { writing-mode: vertical-rl; transform: rotate(180deg); }
.right1, .right2, .right3, .right4, .right5, .wrong1, .wrong2, .wrong3, .wrong4, .wrong5 {
  print-color-adjust: exact; -webkit-print-color-adjust: exact;
}
.right1 { background: rgba(var(--right), 0.10); } .right2 { background: rgba(var(--right), 0.18); }
.right3 { background: rgba(var(--right), 0.26); } .right4 { background: rgba(var(--right), 0.34); }
.right5 { background: rgba(var(--right), 0.42); }
.wrong1 { background: rgba(var(--wrong), 0.20); } .wrong2 { background: rgba(var(--wrong), 0.32); }
.wrong3 { background: rgba(var(--wrong), 0.46); } .wrong4 { background: rgba(var(--wrong), 0.60); }
.wrong5 { background: rgba(var(--wrong), 0.75); }
.wrong1, .wrong2, .wrong3, .wrong4, .wrong5 { font-weight: 700; }

svg { display: block; height: auto; max-width: 100%; min-width: 34rem; print-color-adjust: exact; }
.large svg { min-width: 54rem; }
svg text { fill: var(--ink); }
.grid { stroke: var(--ink); }
.heading { font-size: 13px; font-weight: 600; }
.label { font-size: 13px; }
.s0 { --c: var(--s0); } .s1 { --c: var(--s1); } .s2 { --c: var(--s2); }
.s3 { --c: var(--s3); } .s4 { --c: var(--s4); } .s5 { --c: var(--s5); }
.quiet { --c: var(--quiet); }
.s1.line { stroke-dasharray: 9 3; } .s2.line { stroke-dasharray: 2 3; } .s3.line { stroke-dasharray: 9 3 2 3; }
.s4.line { stroke-dasharray: 5 4; } .s5.line { stroke-dasharray: 14 4; }
.line { fill: none; stroke: var(--c); stroke-width: 1.8; stroke-linejoin: round; }
.lead { stroke: var(--c); stroke-width: 0.8; stroke-opacity: 0.6; }
.marker { fill: var(--c); stroke: var(--page); stroke-width: 1; }
.known { fill: rgb(var(--right)); }
.unknown { fill: rgb(var(--wrong)); fill-opacity: 0.75; }
.zero { stroke: var(--ink); }
.threshold { stroke: var(--ink); stroke-width: 1.6; stroke-dasharray: 6 4; }
.wave { fill: var(--s0); stroke: var(--s0); stroke-width: 0.7; stroke-linejoin: round; }
.span { fill: var(--c); fill-opacity: 0.26; stroke: var(--c); }
.border { stroke: var(--ink); stroke-opacity: 0.45; stroke-dasharray: 3 3; }
.states { fill: none; stroke: var(--c); stroke-width: 2.6; stroke-linejoin: round; }
.tint { fill: var(--c); fill-opacity: 0.13; }
.first { fill: none; stroke: var(--s0); stroke-width: 1.6; stroke-linejoin: round; }
.second { fill: none; stroke: var(--s1); stroke-width: 1.3; stroke-dasharray: 4 2.5; stroke-linejoin: round; }

@media print {
  body { max-width: none; padding: 0; font-size: 10.5pt; }
  nav { display: none; }
  svg, .large svg { min-width: 0; width: 100%; }
  .wide { overflow: visible; }
  figure, tr, .headline, .matrix { break-inside: avoid; }
  h2, h3, .caption { break-after: avoid; }
  .matrix { font-size: 7pt; } .matrix td { min-width: 0; }
}
)";
}

}  // namespace zelsr::examples::report
