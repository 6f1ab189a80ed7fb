// The query log: what the database has, and in front of it what comes while the page is open.

import {byId, clock, count, day, duration, keepRows, load, make, outcomeWords, setText} from '/elements.js';

const MOST_ROWS = 300;
const PAGE = 100;

let rows = [];  // newest first, of the filter
let total = null;
let isPaused = false;
let held = 0;  // queries that came while it was paused
let asked = 0;
let came = null;  // while an answer is awaited

const filter = () => ({
  name: byId('filter-name').value.toLowerCase(),
  outcome: byId('filter-outcome').value,
  server: byId('filter-server').value,
});

const fits = (query, {name, outcome, server}) => (!name || query.name.toLowerCase().includes(name)) &&
  (!outcome || query.outcome === outcome) && (!server || query.server === server);

function address(path, more = {}) {
  const parameters = new URLSearchParams();
  for (const [key, value] of Object.entries({...filter(), ...more})) if (value) parameters.set(key, value);
  return `${path}?${parameters}`;
}

function createRow(query) {
  const name = make('button', {type: 'button', class: 'link name'}, query.name);
  name.addEventListener('click', () => showDetails(query.name));
  return make('tr', {}, make('td', {class: 'time', title: day(query.asked)}, clock(query.asked)), make('td', {}, name),
    make('td', {}, make('span', {class: 'badge', 'data-kind': query.outcome}, outcomeWords[query.outcome])),
    make('td', {}, query.server), make('td', {class: 'number'}, duration(query.microseconds)));
}

function show() {
  keepRows(byId('queries').tBodies[0], rows, (query) => query.id, createRow, () => {});
  const number = total === null ? '' : `${count(total)} ${total === 1 ? 'query' : 'queries'}`;
  const waiting = isPaused ? `paused; ${count(held)} more since` : '';
  setText(byId('log-note'), [rows.length === 0 ? 'No query fits.' : number, waiting].filter(Boolean).join(', '));
  byId('csv').href = address('/api/queries.csv');
  byId('json').href = address('/api/queries.json');
}

function merge(queries) {
  const known = new Set(rows.map((query) => query.id));
  rows = [...queries.filter((query) => !known.has(query.id)), ...rows].sort((left, right) => right.id - left.id);
}

export async function refreshLog() {
  const number = ++asked;
  came = [];
  const answer = await load(address('/api/queries', {limit: PAGE}));
  if (number !== asked) return;
  rows = answer.queries;
  // What was seen behind the answer may be told before it.
  const newest = rows.length === 0 ? 0 : rows[0].id;
  merge(came.filter((query) => query.id > newest));
  came = null;
  total = answer.count + rows.length - answer.queries.length;
  byId('older').hidden = !answer.more;
  show();
}

async function showOlder() {
  const answer = await load(address('/api/queries', {limit: PAGE, before: rows[rows.length - 1].id}));
  merge(answer.queries);
  byId('older').hidden = !answer.more || rows.length >= 5000;
  show();
}

export function takeQueries({queries, skipped}) {
  const fitting = queries.filter((query) => fits(query, filter()));
  if (isPaused) {
    held += fitting.length + skipped;
    return show();
  }
  if (skipped > 0) return void refreshLog();
  came?.push(...fitting);
  const before = rows.length;
  merge(fitting);
  if (total !== null) total += rows.length - before;
  if (rows.length > MOST_ROWS) {
    rows.length = MOST_ROWS;
    byId('older').hidden = false;
  }
  show();
}

export async function refreshNames() {
  const {names} = await load('/api/names?limit=15');
  const most = names.length ? names[0].queries : 1;
  keepRows(byId('names'), names, (name) => name.name,
    ({name}) => {
      const button = make('button', {type: 'button', class: 'link name'}, name);
      button.addEventListener('click', () => showDetails(name));
      return make('li', {}, button, make('meter', {min: '0', 'aria-label': `queries for ${name}`}), make('span', {class: 'aside'}));
    },
    (row, {queries}) => {
      row.children[1].max = most;
      row.children[1].value = queries;
      setText(row.lastElementChild, count(queries));
    });
}

async function showDetails(name) {
  const details = await load(`/api/name?name=${encodeURIComponent(name)}`);
  setText(byId('details-name'), details.name);
  setText(byId('details-why'), details.why || 'No query for it is remembered.');
  setText(byId('details-line'), details.host_map_line);
  byId('details-queries').replaceChildren(...details.queries.map((query) =>
    make('li', {}, make('span', {}, `${day(query.asked)} ${clock(query.asked)}: ${query.why}`))));
  setText(byId('details-trace'), details.trace.join('\n') || 'Its lines are not in the trace any more.');
  byId('details').showModal();
}

export function knowServers(addresses) {
  const list = byId('filter-server');
  const known = new Set([...list.options].map((option) => option.value));
  for (const server of addresses) if (!known.has(server)) list.append(make('option', {value: server}, server));
}

export function beginLog() {
  let delay = 0;
  byId('filters').addEventListener('input', () => {
    clearTimeout(delay);
    delay = setTimeout(refreshLog, 120);
  });
  byId('filters').addEventListener('submit', (event) => event.preventDefault());
  byId('older').addEventListener('click', showOlder);
  byId('pause').addEventListener('click', () => {
    isPaused = !isPaused;
    held = 0;
    byId('pause').setAttribute('aria-pressed', String(isPaused));
    setText(byId('pause'), isPaused ? 'Go on' : 'Pause');
    if (isPaused) show();
    else refreshLog();
  });
  return Promise.all([refreshLog(), refreshNames()]);
}
