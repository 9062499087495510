#include "monitoring/Page.h"

namespace moxsupply {

std::string_view pageStyle() {
  return R"css(
:root {
  color-scheme: light dark;
  --page: #f4f5f7; --card: #ffffff; --ink: #1c2330; --quiet: #566072; --line: #dde1e8;
  --track: #e7eaf0; --edge: #9aa3b2; --link: #0b5cad;
  --needs: #b3261e; --needs-soft: #fdecea; --silent: #6b4aa0; --silent-soft: #f1ecf9;
  --low: #8a5300; --low-soft: #fdf3e1; --new: #566072; --fine: #1f6b3a;
  --cyan: #0098c3; --magenta: #cf1f7a; --yellow: #eab800; --black: #2b2f36; --photo: #7a5cc4;
  --plain: #7d8797; --yellow-line: #8f7000;
}
@media (prefers-color-scheme: dark) {
  :root {
    --page: #12151b; --card: #1b2028; --ink: #e8ebf1; --quiet: #a3adbd; --line: #2c333f;
    --track: #2a313c; --edge: #6d7889; --link: #8cc2ff;
    --needs: #ff9d94; --needs-soft: #3a1f1e; --silent: #c9b3f2; --silent-soft: #2a2338;
    --low: #f5c069; --low-soft: #352a16; --new: #a3adbd; --fine: #86d7a1;
    --cyan: #2ab7de; --magenta: #ee5aa4; --yellow: #f5cf3a; --black: #aab2bf; --photo: #a68cf0;
    --plain: #8893a5; --yellow-line: #f5cf3a;
  }
}
* { box-sizing: border-box; margin: 0; }
body { background: var(--page); color: var(--ink); padding: 1.5rem clamp(1rem, 3vw, 2.5rem) 3rem;
  font: 1rem/1.45 system-ui, "Segoe UI", Roboto, "Noto Sans", "DejaVu Sans", sans-serif; }
header, main, footer, .alarm { max-width: 84rem; margin-inline: auto; }
ul { list-style: none; padding: 0; }
a { color: var(--link); text-underline-offset: .2em; }
:focus-visible { outline: 3px solid var(--link); outline-offset: 2px; border-radius: .25rem; }
.skip { position: absolute; left: -100rem; }
.skip:focus { left: 1rem; top: .5rem; background: var(--card); padding: .4rem .8rem; }

.title { display: flex; align-items: baseline; gap: .8rem; }
h1 { font-size: 1.7rem; letter-spacing: -.015em; font-weight: 650; }
.title p, .quiet, .age, .where, footer { color: var(--quiet); }

.counts { display: flex; flex-wrap: wrap; gap: .6rem; margin: 1rem 0 1.1rem; }
.counts li { display: flex; align-items: center; gap: .45rem; background: var(--card);
  border: 1px solid var(--line); border-radius: .7rem; padding: .5rem .9rem .5rem .6rem; }
.counts b { font-size: 1.25rem; line-height: 1; font-variant-numeric: tabular-nums; }
.counts .zero { color: var(--quiet); }
.counts .zero b { font-weight: 500; }
.symbol { display: inline-grid; place-items: center; width: 1.35em; height: 1.35em; flex: none;
  border-radius: 50%; font-size: .82rem; font-weight: 700; line-height: 1;
  color: var(--card); background: var(--tone); }
.zero .symbol { background: var(--quiet); }
.needs { --tone: var(--needs); } .silent { --tone: var(--silent); } .low { --tone: var(--low); }
.new { --tone: var(--new); } .fine { --tone: var(--fine); }

nav { display: flex; flex-wrap: wrap; gap: .6rem 1.2rem; align-items: center; }
header nav { justify-content: space-between; }
.orders { display: flex; gap: .2rem; background: var(--track); padding: .2rem; border-radius: .6rem; }
.orders a { display: block; padding: .35rem .8rem; border-radius: .45rem; color: var(--ink);
  text-decoration: none; }
.orders a:hover { text-decoration: underline; }
.orders a[aria-current] { background: var(--card); font-weight: 600;
  box-shadow: 0 0 0 1px var(--line); }
nav form { display: flex; gap: .4rem; flex: 0 1 22rem; }
input, button { font: inherit; color: inherit; background: var(--card);
  border: 1px solid var(--edge); border-radius: .5rem; padding: .35rem .7rem; }
input { flex: 1; min-width: 0; }
button { cursor: pointer; }
::placeholder { color: var(--quiet); opacity: 1; }

.alarm { background: var(--needs-soft); border-left: 4px solid var(--needs); margin-top: 1rem;
  border-radius: .5rem; padding: .7rem 1rem; overflow-wrap: anywhere; }
h2 { font-size: 1.05rem; font-weight: 600; margin: 1.7rem 0 .7rem; }
.empty { margin-top: 2rem; }
.hint { max-width: 84rem; margin: 1rem auto 0; color: var(--quiet); font-size: .9rem; }

.printers { columns: 19rem; column-gap: .9rem; }
.printer { margin-bottom: .9rem; break-inside: avoid; background: var(--card); border: 1px solid var(--line); border-radius: .8rem;
  border-top: 3px solid var(--tone); padding: .85rem 1rem .8rem; display: grid;
  grid-template-columns: 1fr auto; gap: .1rem .8rem; overflow-wrap: anywhere; }
.printer > * { grid-column: 1 / -1; min-width: 0; }
.printer > h3 { grid-column: 1; font-size: 1.05rem; font-weight: 620; line-height: 1.3; }
.printer > .state { grid-column: 2; display: flex; gap: .35rem; align-items: center;
  align-self: start; color: var(--tone); font-size: .85rem; font-weight: 600;
  white-space: nowrap; line-height: 1.6; }
.where { font-size: .87rem; }
.note { border-radius: .5rem; padding: .5rem .7rem; margin-top: .5rem; font-size: .92rem;
  background: var(--track); }
.needs .note { background: var(--needs-soft); } .low .note { background: var(--low-soft); }
.silent .note { background: var(--silent-soft); }
.note p + p { margin-top: .25rem; }
.note .quiet { font-size: .85rem; }
.supplies { margin-top: .65rem; display: grid; gap: .5rem; }
.supplies label, .supplies .none { display: grid; grid-template-columns: 1fr auto;
  gap: .15rem .8rem; font-size: .9rem; line-height: 1.3; }
.supplies .none { align-content: start; }
.supplies .level { font-variant-numeric: tabular-nums; font-weight: 600; text-align: right; }
.supplies .none .level { color: var(--quiet); font-weight: 500; font-style: italic; }
.printer > .details { grid-column: 2; font-size: .82rem; place-self: end; padding-bottom: .15rem; }
 .printer:not(.whole) > .age { grid-column: 1; }
.age { font-size: .82rem; margin-top: .6rem; display: flex; align-items: baseline; gap: .8rem; }
.age button { margin-left: auto; padding: .1rem .6rem; white-space: nowrap; }

meter, .hatched { grid-column: 1 / -1; display: block; width: 100%; height: .55rem;
  border-radius: .3rem; overflow: hidden; background: var(--track);
  box-shadow: inset 0 0 0 1px var(--line); }
meter { -webkit-appearance: none; appearance: none; border: 0; }
meter::-webkit-meter-bar { grid-row: 1 / -1; height: .55rem; border: 0; border-radius: 0;
  background: none; }
meter::-webkit-meter-optimum-value { height: .55rem; background: var(--fill); }
meter::-moz-meter-bar { background: var(--fill); }
.cyan { --fill: var(--cyan); } .magenta { --fill: var(--magenta); }
.yellow { --fill: var(--yellow); } .black { --fill: var(--black); }
.photo { --fill: var(--photo); } .plain { --fill: var(--plain); }
.three { --fill: linear-gradient(90deg, var(--cyan) 33%, var(--magenta) 33% 66%, var(--yellow) 66%); }
.curve { --line-of: var(--fill); }
.curve.yellow { --line-of: var(--yellow-line); } .curve.three { --line-of: var(--plain); }
.curve { display: block; width: 6.5rem; height: 1.6rem; border-bottom: 1px solid var(--line); }
.curve path { fill: none; stroke: var(--line-of); stroke-width: 2; stroke-linecap: round;
  stroke-linejoin: round; vector-effect: non-scaling-stroke; }
.curve .grid { stroke: var(--line); stroke-width: 1; }
.curve .fan { fill: var(--line-of); opacity: .15; stroke: none; }
.curve .ahead { stroke-dasharray: 2 5; }
.curve.large { width: 100%; height: 9rem; border: 0; }
.more { grid-column: 1 / -1; display: grid; grid-template-columns: 1fr auto; gap: 0 .8rem;
  align-items: center; font-size: .85rem; margin-top: .3rem; }
.more > * { grid-column: 1 / -1; min-width: 0; }
.more > .curve { grid-column: 2; grid-row: 1; }
.more > .curve + p { grid-column: 1; grid-row: 1; }
.axis { display: flex; justify-content: space-between; font-size: .78rem; color: var(--quiet);
  font-variant-numeric: tabular-nums; }

nav[aria-label=Pages] { margin-bottom: .9rem; }
h1 + nav, .title + nav { margin-top: .9rem; }
.whole { display: block; break-inside: auto; margin-top: 1rem; }
main > p { margin: 1rem 0 .6rem; }
.whole > .state { font-size: .95rem; }
.whole .supplies { grid-template-columns: repeat(auto-fill, minmax(min(22rem, 100%), 1fr));
  gap: 1.4rem 2rem; }
.whole .more { display: block; }
.whole .more p { margin-top: .2rem; }

table { border-collapse: collapse; width: 100%; background: var(--card); font-size: .92rem;
  border: 1px solid var(--line); overflow-wrap: anywhere; }
th, td { text-align: left; vertical-align: top; padding: .45rem .7rem;
  border-top: 1px solid var(--line); }
th { font-weight: 600; white-space: nowrap; }
td time { font-variant-numeric: tabular-nums; white-space: nowrap; }
.count { text-align: right; font-variant-numeric: tabular-nums; }
.buy td:nth-child(-n+5) { white-space: nowrap; }
.buy td:nth-child(2) { white-space: normal; }

.hatched { background: repeating-linear-gradient(135deg, var(--edge) 0 2px, var(--track) 2px 7px); }

footer { margin-top: 2rem; font-size: .9rem; display: grid; gap: .6rem; }
@media (max-width: 40rem) {
  body { padding-top: 1rem; }
  .counts { display: grid; grid-template-columns: 1fr 1fr; gap: .4rem; }
  .counts li { font-size: .86rem; padding-right: .4rem; }
  nav form { flex: 1 1 100%; }
  .title { flex-wrap: wrap; gap: 0 .8rem; }
  .buy thead { position: absolute; left: -100rem; }
  .buy tr { display: flex; flex-wrap: wrap; gap: .1rem .8rem; padding: .5rem .7rem;
    border-top: 1px solid var(--line); }
  .buy td { padding: 0; border: 0; }
  .buy td:last-child { flex-basis: 100%; }
  .buy .count::before { content: "× "; }
}
@media (forced-colors: active) {
  meter, .hatched, .printer { border: 1px solid CanvasText; forced-color-adjust: none; }
}
@media print {
  :root { --page: #fff; --card: #fff; --ink: #000; --quiet: #333; --line: #999; --link: #000; }
  body { background: none; padding: 0; font-size: 10pt; }
  nav, button, .skip, .hint, .details { display: none; }
  a { text-decoration: none; }
  thead { display: table-header-group; }
  tr { break-inside: avoid; }
}
)css";
}

std::string_view pageIcon() {
  return R"(<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 32 32"><rect width="32" height="32" rx="7" fill="#2b2f36"/><rect x="6" y="12" width="4" height="14" fill="#0098c3"/><rect x="12" y="6" width="4" height="20" fill="#cf1f7a"/><rect x="18" y="16" width="4" height="10" fill="#eab800"/><rect x="24" y="9" width="4" height="17" fill="#aab2bf"/></svg>
)";
}

}  // namespace moxsupply
