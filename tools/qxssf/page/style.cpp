#include "tools/qxssf/page/page.h"

namespace qx::ssf {

const char* pageStyle() {
  return R"(
:root { color-scheme: light dark; --paper: #fff; --ink: #1c2024; --soft: #5b6570; --line: #c9d0d6;
  --panel: #f4f6f8; --good: #146c37; --bad: #b3261e; --mark: #1f5fa8; }
@media (prefers-color-scheme: dark) { :root { --paper: #14171a; --ink: #e6e9ec; --soft: #a0abb5;
  --line: #3c454d; --panel: #1d2226; --good: #6fd39a; --bad: #ff8a80; --mark: #86b9f2; } }
* { box-sizing: border-box; }
body { margin: 0; background: var(--paper); color: var(--ink);
  font: 16px/1.5 system-ui, "DejaVu Sans", "Liberation Sans", sans-serif; }
main { max-width: 52rem; margin: 0 auto; padding: 1rem; }
h1 { font-size: 1.5rem; line-height: 1.25; margin: 0; }
h2 { font-size: 1.2rem; line-height: 1.3; margin: 0 0 .5rem; }
h3 { font-size: 1rem; margin: 1.25rem 0 .5rem; }
p { margin: .35rem 0; }
h1, h2, dd, p, li { overflow-wrap: anywhere; }
.verdict { border: 3px solid; border-radius: .5rem; padding: 1rem; margin-bottom: 1rem; }
.good { color: var(--good); border-color: var(--good); }
.bad { color: var(--bad); border-color: var(--bad); }
.verdict p { color: var(--ink); }
dl { display: grid; grid-template-columns: max-content 1fr; gap: .2rem 1rem; margin: 0; }
dt { color: var(--soft); }
dd { margin: 0; }
section { border: 1px solid var(--line); border-radius: .5rem; padding: 1rem; margin: 1rem 0; }
.badge { font-weight: 600; }
ol { list-style: none; margin: 0; padding: 0; }
.chain li { background: var(--panel); border: 2px solid; border-radius: .4rem; padding: .5rem .75rem; }
.chain li + li { margin-top: 2rem; position: relative; }
.chain li + li::before { content: "\2193  issued"; position: absolute; top: -1.75rem; left: .75rem;
  color: var(--soft); font-size: .85rem; }
.chain:lang(ru) li + li::before { content: "\2193  выдал"; }
.chain p { color: var(--ink); margin: 0; }
.chain .soft { color: var(--soft); }
.soft { color: var(--soft); font-size: .85rem; }
.name { font-weight: 600; }
.times { border-left: 3px solid var(--line); margin-left: .5rem; }
.times li { position: relative; padding: .15rem 0 .6rem 1.25rem; }
.times li::before { content: ""; position: absolute; left: -.5rem; top: .5rem; width: .8rem; height: .8rem;
  border: 3px solid var(--mark); border-radius: 50%; background: var(--paper); }
.times .stamp::before { background: var(--mark); }
.times p { margin: 0; }
footer { color: var(--soft); font-size: .85rem; margin-top: 1rem; }
@media (max-width: 30rem) { dl { grid-template-columns: 1fr; gap: 0; } dd { margin-bottom: .4rem; } }
@media print { :root { --paper: #fff; --ink: #000; --soft: #444; --line: #888; --panel: #fff;
  --good: #0b4d26; --bad: #8c1d18; --mark: #000; color-scheme: light; }
  body { font-size: 10.5pt; } main { max-width: none; padding: 0; }
  .verdict, .chain li, .times li { break-inside: avoid; } h2, h3 { break-after: avoid; }
  * { print-color-adjust: exact; } @page { margin: 18mm; } }
)";
}

}  // namespace qx::ssf
