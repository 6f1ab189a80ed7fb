// "Over time": two plots and the table of the same data.

import {OUTCOMES, byId, count, day, duration, load, make, minute, setText} from '/elements.js';
import {drawBands, drawStack} from '/plots.js';

const LABELS = {hour: 6, day: 6, week: 7, year: 6};
const SPANS = {hour: 'the last hour', day: 'the last day', week: 'the last week', year: 'the last year'};

let span = 'day';
let shown = null;

function slotName(history, at) {
  const begin = (history.first + at * history.width) * 1000;
  if (history.width >= 86400) return day(begin);
  return history.width >= 3600 ? `${day(begin)} ${minute(begin)}` : minute(begin);
}

function labelsOf(history) {
  const number = LABELS[span];
  return Array.from({length: number}, (_, at) => {
    const slot = Math.round(((at + 0.5) * history.slots) / number);
    const begin = (history.first + slot * history.width) * 1000;
    const text = span === 'hour' || span === 'day' ? minute(begin) : day(begin).slice(5);
    return {share: (slot + 0.5) / history.slots, text};
  });
}

const sum = (values) => values.reduce((all, value) => all + value, 0);

function showLegend(list, entries) {
  list.replaceChildren(...entries.map(({kind, name, text}) =>
    make('li', {}, make('span', {class: `key ${kind}`, 'aria-hidden': 'true'}), `${name} `, make('strong', {}, text))));
}

function showOutcomes(history) {
  const series = OUTCOMES.map(([key, words]) => ({kind: key, name: words, values: history.outcomes[key]}));
  showLegend(byId('outcome-legend'), series.map(({kind, name, values}) => ({kind, name, text: count(sum(values))})));
  const all = sum(series.map(({values}) => sum(values)));
  const tell = (at) => setText(byId('outcome-value'), at === null ? ' ' : `${slotName(history, at)}: ` +
    series.map(({name, values}) => `${name} ${count(values[at])}`).join(', '));
  tell(null);
  drawStack(byId('outcome-plot'), `${count(all)} queries in ${SPANS[span]}. The values are in the table below.`,
    series, history.slots, count, labelsOf(history), tell);
}

const bandsOf = (history) => Object.entries(history.servers).map(([address, server], at) =>
  ({kind: `server-${at % 6}`, name: address, low: server.median, high: server.p95, server}));

function showTimes(history) {
  const bands = bandsOf(history);
  showLegend(byId('time-legend'), bands.map(({kind, name, server}) =>
    ({kind, name, text: `${duration(server.all_median)}, 95th ${duration(server.all_p95)}`})));
  const tell = (at) => setText(byId('time-value'), at === null ? ' ' : `${slotName(history, at)}: ` +
    (bands.map(({name, low, high}) => `${name} ${duration(low[at])}, 95th ${duration(high[at])}`).join('; ') || 'no responses'));
  tell(null);
  drawBands(byId('time-plot'), `Answer times of ${bands.length} servers in ${SPANS[span]}. The values are in the table below.`,
    bands, history.slots, duration, labelsOf(history), tell);
}

function showTable() {
  if (!byId('history-table').open || !shown) return;
  const history = shown;
  const bands = bandsOf(history);
  const head = make('tr', {}, make('th', {scope: 'col'}, 'From'),
    ...OUTCOMES.map(([, words]) => make('th', {scope: 'col', class: 'number'}, words)),
    ...bands.flatMap(({name}) => [make('th', {scope: 'col', class: 'number'}, `${name} median`),
      make('th', {scope: 'col', class: 'number'}, `${name} 95th`)]));
  const rows = [];
  for (let at = history.slots - 1; at >= 0; --at) {
    const counts = OUTCOMES.map(([key]) => history.outcomes[key][at]);
    if (sum(counts) === 0 && bands.every(({low}) => low[at] === null)) continue;
    rows.push(make('tr', {}, make('th', {scope: 'row'}, slotName(history, at)),
      ...counts.map((value) => make('td', {class: 'number'}, count(value))),
      ...bands.flatMap(({low, high}) => [make('td', {class: 'number'}, duration(low[at])),
        make('td', {class: 'number'}, duration(high[at]))])));
  }
  byId('history-table').lastElementChild.replaceChildren(make('table', {}, make('caption', {}, `In ${SPANS[span]}; times without queries are left out`),
    make('thead', {}, head), make('tbody', {}, ...rows)));
}

export async function refreshHistory() {
  const wanted = span;
  const history = await load(`/api/totals?span=${wanted}`);
  if (wanted !== span) return;
  // What somebody points at is not redrawn under the pointer.
  const isLookedAt = shown && shown.wanted === wanted && document.querySelector('.plot:hover, .plot svg:focus');
  const text = JSON.stringify(history);
  if (isLookedAt || (shown && shown.text === text)) return;
  shown = {...history, wanted, text};
  showOutcomes(history);
  showTimes(history);
  showTable();
}

export function beginHistory() {
  byId('spans').addEventListener('change', (event) => {
    span = event.target.value;
    refreshHistory();
  });
  byId('history-table').addEventListener('toggle', showTable);
  return refreshHistory();
}
