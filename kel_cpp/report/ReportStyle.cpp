#include "kel_cpp/report/ReportStyle.hpp"

namespace Quarlen::Kel_cpp {

const std::string_view reportStyle = R"css(
:root {
  color-scheme: light dark;
  --page: #f3f5f7; --card: #ffffff; --ink: #17212b; --soft: #55636f; --line: #d8dee4;
  --good: #17693a; --good-fill: #e3f3e9; --bad: #a3211b; --bad-fill: #fbe6e4;
  --note: #7a4d00; --note-fill: #fcf1dc; --quiet: #3b556e; --quiet-fill: #e4ebf2;
}
@media (prefers-color-scheme: dark) {
  :root {
    --page: #12171c; --card: #1b232b; --ink: #e6ebf0; --soft: #9fafbd; --line: #34404b;
    --good: #7fd6a0; --good-fill: #17382a; --bad: #ff9b91; --bad-fill: #452120;
    --note: #f3c36b; --note-fill: #3d2f14; --quiet: #a9c3dc; --quiet-fill: #26384a;
  }
}
* { box-sizing: border-box; }
body {
  margin: 0; background: var(--page); color: var(--ink);
  font: 15px/1.5 system-ui, "Segoe UI", Roboto, "DejaVu Sans", sans-serif;
}
main { max-width: 62rem; margin: 0 auto; padding: 1.5rem; }
h1, h2, h3, h4, p, dl, ul { margin: 0; }
h1 { font-size: 1.7rem; line-height: 1.2; }
h2 { font-size: 1.2rem; }
h3 { font-size: .95rem; margin: 1.25rem 0 .5rem; }
h4 { font-size: .8rem; color: var(--soft); margin-top: .35rem; }
h1, h2, td, dd { overflow-wrap: anywhere; unicode-bidi: isolate; }
code, .vin { font-family: ui-monospace, "Cascadia Mono", "DejaVu Sans Mono", monospace; }
.eyebrow { color: var(--soft); font-size: .9rem; margin-bottom: .25rem; }
.vin-line { margin-top: .35rem; }
.none { color: var(--good); }
.overview h2 { margin-bottom: .75rem; }
.overview td { width: 40%; }
.overview td:last-child { width: 20%; }
.vin { font-size: 1.25rem; letter-spacing: .06em; overflow-wrap: anywhere; }
.soft { color: var(--soft); }
.card {
  background: var(--card); border: 1px solid var(--line); border-radius: .6rem;
  padding: 1.25rem; margin-top: 1rem;
}
.card.cover { margin-top: 0; }
.facts { display: grid; grid-template-columns: repeat(auto-fit, minmax(13rem, 1fr)); gap: .75rem 1.5rem; margin-top: 1.25rem; }
.facts dt, .tile dt { color: var(--soft); font-size: .8rem; }
.facts dd, .tile dd { margin: 0; }
.tiles { display: grid; grid-template-columns: repeat(auto-fit, minmax(8rem, 1fr)); gap: 1rem; margin-top: 1rem; }
.tile { background: var(--card); border: 1px solid var(--line); border-radius: .6rem; padding: .75rem 1.25rem; }
.tile dd { font-size: 1.7rem; font-weight: 600; line-height: 1.2; }
.tile.good dd { color: var(--good); }
.tile.bad dd { color: var(--bad); }
.tile.note dd { color: var(--note); }
.unit-head { display: flex; flex-wrap: wrap; gap: .25rem .75rem; align-items: baseline; }
.badge, .bits li {
  display: inline-block; border: 1px solid; border-radius: 1rem; padding: 0 .6rem;
  font-size: .8rem; white-space: nowrap;
}
.badge { font-weight: 600; }
.good.badge { color: var(--good); background: var(--good-fill); }
.bad.badge { color: var(--bad); background: var(--bad-fill); }
.note.badge { color: var(--note); background: var(--note-fill); }
.quiet.badge { color: var(--soft); background: var(--page); }
.interrupted.value { color: var(--bad); font-weight: 600; }
.notice, .error { border-radius: .4rem; padding: .6rem .9rem; margin-top: 1rem; overflow-wrap: anywhere; }
.notice { color: var(--note); background: var(--note-fill); }
.error { color: var(--bad); background: var(--bad-fill); }
.wide { overflow-x: auto; }
table { width: 100%; border-collapse: collapse; }
th, td { text-align: left; vertical-align: top; padding: .4rem .75rem .4rem 0; border-top: 1px solid var(--line); }
th { color: var(--soft); font-size: .8rem; font-weight: 600; border-top: 0; }
td.code { white-space: nowrap; overflow-wrap: normal; width: 9rem; }
td.code strong, td.code span { display: block; }
td.code span { color: var(--soft); font-size: .8rem; }
.faults td:nth-child(2) { min-width: 13rem; }
td.did { white-space: nowrap; width: 6rem; }
td.value { white-space: pre-wrap; }
.bits { list-style: none; padding: 0; margin-top: .35rem; display: flex; flex-wrap: wrap; gap: .3rem; }
.bits li { color: var(--soft); border-color: var(--line); }
.bits li.set { font-weight: 600; color: var(--quiet); background: var(--quiet-fill); border-color: currentColor; }
.bits li.set::before { content: "\2713\00a0"; }
.bits li.set.fault { color: var(--bad); background: var(--bad-fill); }
.bits li.absent { border-style: dashed; text-decoration: line-through; opacity: .7; }
.faults tr.records td { border-top: 0; padding-top: 0; }
.faults tr.records td:first-child { min-width: 0; }
.values { list-style: none; padding: 0; display: flex; flex-wrap: wrap; gap: .1rem 1.25rem; }
.run td { overflow-wrap: anywhere; }
.run td:first-child, .run td:last-child { width: 20%; }
.run h2 { margin-bottom: .75rem; }
.unseen { position: absolute; width: 1px; height: 1px; overflow: hidden; clip-path: inset(50%); }
summary { cursor: pointer; font-weight: 600; font-size: .95rem; margin-top: 1.25rem; }
details table { margin-top: .5rem; }
a { color: inherit; text-decoration-color: var(--soft); text-underline-offset: .15em; }
@media (max-width: 40rem) {
  main { padding: .75rem; }
  .card { padding: .9rem; }
  .tiles { gap: .5rem; }
  .tile { padding: .6rem .75rem; }
  .tile dd { font-size: 1.25rem; }
  .faults thead { display: none; }
  .faults tr { display: block; border-top: 1px solid var(--line); padding: .5rem 0; }
  .faults td:nth-child(n) { display: block; min-width: 0; border: 0; padding: .1rem 0; width: auto; }
  td.code strong, td.code span { display: inline; margin-right: .6rem; }
}
@media print {
  @page { size: A4; margin: 16mm 14mm; }
  :root {
    color-scheme: light;
    --page: #ffffff; --card: #ffffff; --ink: #000000; --soft: #444444; --line: #bbbbbb;
    --good: #17693a; --good-fill: #e3f3e9; --bad: #a3211b; --bad-fill: #fbe6e4;
    --note: #7a4d00; --note-fill: #fcf1dc; --quiet: #3b556e; --quiet-fill: #e4ebf2;
  }
  html { font-size: 9.5pt; }
  body { font-size: 9pt; -webkit-print-color-adjust: exact; print-color-adjust: exact; }
  main { max-width: none; padding: 0; }
  .card { border: 0; border-top: 1.5pt solid var(--ink); border-radius: 0; padding: .75rem 0; }
  .tile { border-radius: 0; padding: .5rem .75rem; }
  .wide { overflow: visible; }
  .faults td:nth-child(2) { min-width: 10rem; }
  .unit-head, h2, h3, summary { break-after: avoid; }
  tr, .notice, .error, .tiles { break-inside: avoid; }
  thead { display: table-header-group; }
  a { text-decoration: none; }
}
)css";

} // namespace Quarlen::Kel_cpp
