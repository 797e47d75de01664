#include "tools/tsport/report/html.h"

namespace tsport::report::html {

const char style[] =
    R"(
:root {
  color-scheme: light dark;
  --page: #f6f7f9; --card: #ffffff; --ink: #1b2027; --quiet: #596372; --line: #d8dde4; --stripe: #f2f4f7;
  --printed: #5b8bc9; --late: #d39200; --failed: #c6362c; --kept: #8a5fb8; --unknown: #8d949e; --held: #ffd166;
  --focus: #0b57d0;
  --c0: #c6362c; --c1: #2f6fb5; --c2: #d39200; --c3: #2e8b62; --c4: #8a5fb8; --c5: #7a4a2b; --c6: #c2508a; --c7: #8d949e;
}
@media (prefers-color-scheme: dark) {
  :root {
    --page: #14171c; --card: #1d2128; --ink: #e8ebf0; --quiet: #a3adba; --line: #363c46; --stripe: #242932;
    --printed: #6f9fdc; --late: #e3a93a; --failed: #f0685e; --kept: #b28fdb; --unknown: #8d949e; --held: #7a5b12;
    --focus: #8ab4f8;
    --c0: #f0685e; --c1: #6fa8e6; --c2: #e3a93a; --c3: #5cc197; --c4: #b28fdb; --c5: #c09070; --c6: #ea86b6; --c7: #8d949e;
  }
}
* { box-sizing: border-box; }
body { margin: 0; background: var(--page); color: var(--ink); font: 15px/1.5 "Segoe UI", system-ui, sans-serif; }
header, main, footer { max-width: 1440px; margin: 0 auto; padding: 0 24px; }
header { padding-top: 28px; }
h1 { font-size: 26px; margin: 0 0 4px; }
h2 { font-size: 18px; margin: 0 0 12px; }
p { margin: 0 0 8px; }
.quiet, footer, caption { color: var(--quiet); }
footer { padding-bottom: 32px; font-size: 13px; }
section { background: var(--card); border: 1px solid var(--line); border-radius: 8px; padding: 18px 20px; margin: 18px 0; }
.tiles { display: grid; grid-template-columns: repeat(auto-fit, minmax(130px, 1fr)); gap: 12px; margin: 18px 0; padding: 0; }
.tiles > div { background: var(--card); border: 1px solid var(--line); border-radius: 8px; padding: 12px 16px; }
.tiles dt { color: var(--quiet); font-size: 13px; }
.tiles dd { margin: 0; font-size: 24px; font-weight: 600; font-variant-numeric: tabular-nums; }
.tiles .bad dd { color: var(--failed); }
.wide { overflow-x: auto; }
.wide:focus-visible, button:focus-visible { outline: 2px solid var(--focus); outline-offset: 2px; }
table { border-collapse: collapse; width: 100%; font-size: 13.5px; }
caption { text-align: left; padding-bottom: 8px; }
th, td { padding: 5px 8px; text-align: left; vertical-align: top; border-bottom: 1px solid var(--line); }
thead th { white-space: nowrap; border-bottom: 2px solid var(--line); }
tbody tr:nth-child(even) { background: var(--stripe); }
td.n, th.n { text-align: right; font-variant-numeric: tabular-nums; white-space: nowrap; }
#documents-table td:nth-child(2), #documents-table td:nth-child(4) { min-width: 105px; }
#documents-table td:last-child { min-width: 250px; }
td.t { white-space: nowrap; font-variant-numeric: tabular-nums; }
th button { font: inherit; font-weight: 600; color: inherit; background: none; border: 0; padding: 0; cursor: pointer; white-space: nowrap; }
th button::after { content: "\2195"; color: var(--quiet); opacity: .6; padding-left: 4px; }
th[aria-sort=ascending] button::after { content: "\2191"; opacity: 1; }
th[aria-sort=descending] button::after { content: "\2193"; opacity: 1; }
.badge { white-space: nowrap; }
.badge::before { content: ""; display: inline-block; width: 9px; height: 9px; border-radius: 50%; margin-right: 6px; background: var(--unknown); }
.badge.p::before { background: var(--printed); }
.badge.l::before { background: var(--late); }
.badge.f::before { background: var(--failed); border-radius: 0; }
.badge.k::before { background: var(--kept); border-radius: 0; transform: rotate(45deg); }
code { font: 12.5px/1.4 Consolas, "Cascadia Mono", monospace; color: var(--quiet); }
ul.legend { list-style: none; display: flex; flex-wrap: wrap; gap: 4px 20px; padding: 0; margin: 8px 0 14px; font-size: 13.5px; }
ul.legend span { display: inline-block; width: 11px; height: 11px; margin-right: 6px; }
ul.found { margin: 0; padding-left: 20px; }
svg { display: block; width: 100%; min-width: 760px; height: auto; }
svg text { fill: var(--quiet); font-size: 12px; font-family: inherit; }
svg text.name { fill: var(--ink); }
svg .grid { stroke: var(--line); stroke-width: 1; }
svg .p, .legend .p { fill: var(--printed); background: var(--printed); }
svg .l, .legend .l { fill: var(--late); background: var(--late); }
svg .f, .legend .f { fill: var(--failed); background: var(--failed); }
svg .k, .legend .k { fill: var(--kept); background: var(--kept); }
svg .u, .legend .u { fill: var(--unknown); background: var(--unknown); }
svg .h, .legend .h { fill: var(--held); background: var(--held); }
svg rect.h { stroke: var(--late); stroke-width: .5; }
)"
    R"(svg .c0, .legend .c0 { fill: var(--c0); background: var(--c0); } svg .c1, .legend .c1 { fill: var(--c1); background: var(--c1); }
svg .c2, .legend .c2 { fill: var(--c2); background: var(--c2); } svg .c3, .legend .c3 { fill: var(--c3); background: var(--c3); }
svg .c4, .legend .c4 { fill: var(--c4); background: var(--c4); } svg .c5, .legend .c5 { fill: var(--c5); background: var(--c5); }
svg .c6, .legend .c6 { fill: var(--c6); background: var(--c6); } svg .c7, .legend .c7 { fill: var(--c7); background: var(--c7); }
@page { size: A4 landscape; margin: 12mm; }
@media print {
  :root { --page: #fff; --card: #fff; --ink: #000; --quiet: #444; --line: #bbb; --stripe: #fff; }
  body { font-size: 10.5pt; }
  header, main, footer { max-width: none; padding: 0; }
  section { border: 0; padding: 0; break-inside: auto; }
  .tiles > div, svg { break-inside: avoid; }
  thead { display: table-header-group; }
  tr { break-inside: avoid; }
  table { font-size: 8.5pt; }
  th, td { padding: 2px 5px; }
  th button::after { content: ""; }
  #documents-table td { min-width: 0 !important; }
  .wide { overflow: visible; }
  svg { min-width: 0; }
  * { print-color-adjust: exact; -webkit-print-color-adjust: exact; }
}
)";

// Sorting: a click on a header sorts its table by that column, another one turns the order around.
const char script[] = R"(
'use strict';
const order = new Intl.Collator(undefined, {numeric: true});
function valueOf(row, column) {
  const cell = row.cells[column];
  return cell.dataset.v === undefined ? cell.textContent : Number(cell.dataset.v);
}
function compare(a, b) {
  return typeof a === 'number' && typeof b === 'number' ? a - b : order.compare(String(a), String(b));
}
document.querySelectorAll('th button').forEach(function (button) {
  button.addEventListener('click', function () {
    const header = button.closest('th');
    const table = header.closest('table');
    const body = table.tBodies[0];
    const column = header.cellIndex;
    const sign = header.getAttribute('aria-sort') === 'ascending' ? -1 : 1;
    const rows = Array.from(body.rows, function (row) { return {row: row, value: valueOf(row, column)}; });
    rows.sort(function (a, b) { return sign * compare(a.value, b.value); });
    table.querySelectorAll('th[aria-sort]').forEach(function (other) { other.removeAttribute('aria-sort'); });
    header.setAttribute('aria-sort', sign === 1 ? 'ascending' : 'descending');
    const sorted = document.createDocumentFragment();
    rows.forEach(function (entry) { sorted.appendChild(entry.row); });
    body.appendChild(sorted);
  });
});
)";

const char script_hash[] = "sha256-QHd9aFVzf4UOOFkULC7CeEbMMjJCt686objgPK2U6b8=";

}  // namespace tsport::report::html
