// What the page of runs looks like, and what it does by itself. No character here is one that XML would write
// in another way than HTML reads it: none of < > & ".
#pragma once

inline constexpr const char *runsPageStyle = R"(
h2 { overflow-wrap: anywhere; border-top: 2px solid var(--line); padding-top: 1rem; }
.fine { color: var(--fine); }
.bad { color: var(--bad); }
form { position: sticky; top: 0; display: flex; flex-wrap: wrap; gap: 0.5rem 1.5rem; align-items: center;
  background: var(--ground); border: 1px solid var(--line); padding: 0.5rem; }
form[hidden], tr[hidden] { display: none; }
fieldset { border: 0; padding: 0; margin: 0; display: flex; flex-wrap: wrap; gap: 0 1rem; }
legend { float: left; margin-right: 1rem; }
input { font: inherit; }
.axis { display: flex; justify-content: space-between; font-size: 0.85rem; }
summary { cursor: pointer; overflow-wrap: anywhere; }
details.none { opacity: 0.5; }
.track { position: relative; display: block; height: 0.9rem; border: 1px solid var(--line); }
.bar, .tick { position: absolute; top: 0; bottom: 0; }
.bar { min-width: 4px; background: currentColor; }
.tick { width: 2px; background: var(--ground); }
.scroll { overflow: auto; max-width: 100%; }
td { border-top: 1px solid var(--line); padding: 0.15rem 0.6rem; vertical-align: top; text-align: left; }
td:nth-child(-n + 3) { white-space: nowrap; font-variant-numeric: tabular-nums; }
td span { display: block; }
.text { font-family: monospace; overflow-wrap: anywhere; white-space: pre-wrap; }
.means { font-size: 0.85rem; opacity: 0.8; }
tr.bad .text { font-weight: bold; }
tr { scroll-margin-top: 8rem; }
tr:target { background: var(--fine-ground); }
)";

// The form is for those who have scripts; without them everything is there, and nothing filtered.
inline constexpr const char *runsPageScript = R"(
'use strict';
document.addEventListener('DOMContentLoaded', function () {
  const form = document.getElementById('filter');
  const word = document.getElementById('word');
  const count = document.getElementById('count');
  const boxes = Array.from(form.querySelectorAll('input[type=checkbox]'));
  const parts = Array.from(document.querySelectorAll('details'));
  const rows = Array.from(document.querySelectorAll('tr[data-level]'), function (row) {
    return { row: row, text: row.textContent.toLowerCase() };
  });
  const all = rows.filter(function (each) { return each.row.id; }).length;

  function filter() {
    const wanted = word.value.trim().toLowerCase();
    const levels = boxes.filter(function (box) { return box.checked; }).map(function (box) { return box.value; });
    let shown = 0;
    rows.forEach(function (each) {
      each.row.hidden = !(each.text.includes(wanted) ? levels.includes(each.row.dataset.level) : false);
      if (each.row.id) shown += each.row.hidden ? 0 : 1;
    });
    parts.forEach(function (part) {
      const some = part.querySelector('tr:not([hidden])') !== null;
      part.classList.toggle('none', !some);
      if (wanted) part.open = some;
    });
    count.value = shown + ' of ' + all + ' lines';
  }

  function showTarget() {
    const target = location.hash ? document.getElementById(location.hash.slice(1)) : null;
    if (target === null) return;
    if (target.hidden) {
      word.value = '';
      boxes.forEach(function (box) { box.checked = true; });
      filter();
    }
    const part = target.closest('details');
    if (part !== null) part.open = true;
    target.tabIndex = -1;
    target.focus();
  }

  form.addEventListener('input', filter);
  form.addEventListener('submit', function (event) { event.preventDefault(); });
  window.addEventListener('hashchange', showTarget);
  form.hidden = false;
  filter();
  showTarget();
});
)";
