// The state of the moment: what the stream's "now" event says.

import {OUTCOMES, ago, byId, count, duration, keepRows, make, makeSvg, setText} from '/elements.js';

const STATES = {
  unknown: 'No start of the proxy in the trace',
  starting: 'Starting',
  serving: 'Serving',
  intake_ended: 'Takes no queries any more',
  relay_ended: 'Relays no answers any more',
  not_started: 'Could not start',
  ended: 'Has ended',
};
const SILENT_AFTER_MS = 2000;

function showState(now) {
  const trouble = now.trace.read ? '' : `The trace can’t be read: ${now.trace.trouble}.`;
  byId('state').dataset.state = now.trace.read ? now.proxy.state : 'unread';
  setText(byId('state-words'), STATES[now.proxy.state]);
  const since = now.proxy.state === 'serving' && now.proxy.started ? `for ${ago(now.time - now.proxy.started)}` : '';
  setText(byId('state-reason'), trouble || now.proxy.reason || since);
  document.title = now.proxy.state === 'serving' ? 'DNS proxy' : `${STATES[now.proxy.state]} – DNS proxy`;
}

export function showBroken() {
  byId('state').dataset.state = 'connecting';
  setText(byId('state-words'), 'Not connected');
  setText(byId('state-reason'), 'The page’s own program does not answer; it is tried again.');
}

function showRate(now) {
  const all = now.per_second.reduce((sum, one) => sum + one, 0);
  setText(byId('rate-number'), count(all));
  const most = Math.max(4, ...now.per_second);
  const points = now.per_second.map((one, at) => `${at * 2},${(23 - (one / most) * 22).toFixed(1)}`);
  let line = byId('rate-line').firstElementChild;
  if (!line) {
    line = makeSvg('polyline', {fill: 'none', stroke: 'currentColor', 'stroke-width': '1.5'});
    byId('rate-line').append(makeSvg('svg', {viewBox: '0 0 118 24', width: '118', height: '24'}, line));
  } else {
    line = line.firstElementChild;
  }
  line.setAttribute('points', points.join(' '));
}

function showTiles(now) {
  const all = OUTCOMES.reduce((sum, [key]) => sum + now.day[key], 0) + now.waiting_count;
  const tiles = [
    {key: 'all', title: 'Queries', number: all},
    ...OUTCOMES.map(([key, , title]) => ({key, title, number: now.day[key]})),
    {key: 'waiting', title: 'Waiting now', number: now.waiting_count},
  ];
  keepRows(byId('tiles'), tiles, (tile) => tile.key,
    (tile) => make('div', {class: `tile ${tile.key}`}, make('dt', {}, tile.title), make('dd', {id: `tile-${tile.key}`})),
    (element, tile) => {
      setText(element.lastElementChild, count(tile.number));
      const share = tile.key === 'all' || all === 0 ? '' : `${((100 * tile.number) / all).toFixed(1)} %`;
      element.dataset.share = share;
    });
}

function stateOf(server, now) {
  if (server.waits_since && now.time - server.waits_since > SILENT_AFTER_MS) {
    return ['silent', `silent for ${ago(now.time - server.waits_since)}`];
  }
  if (server.last_response) return ['alive', 'alive'];
  return ['unasked', server.asked ? 'asked' : 'not asked yet'];
}

function showServers(now) {
  keepRows(byId('servers').tBodies[0], now.servers, (server) => server.address,
    () => make('tr', {}, make('th', {scope: 'row'}), make('td', {}, make('span', {class: 'badge'})),
      ...Array.from({length: 5}, () => make('td', {class: 'number'}))),
    (row, server) => {
      const [kind, words] = stateOf(server, now);
      row.children[1].firstElementChild.dataset.kind = kind;
      const texts = [server.address, null, duration(server.median), duration(server.p95),
        count(server.asked), count(server.answers), count(server.empty)];
      texts.forEach((text, at) => text !== null && setText(row.children[at], text));
      setText(row.children[1].firstElementChild, words);
    });
}

function showWaiting(now) {
  const shown = now.waiting.slice(0, 8);
  const more = now.waiting_count - shown.length;
  setText(byId('waiting-note'), now.waiting_count === 0 ? 'nothing' : more > 0 ? `and ${count(more)} more` : '');
  keepRows(byId('waiting'), shown.map((query, at) => ({...query, at})), (query) => query.at,
    () => make('li', {}, make('span', {class: 'name'}), make('span', {class: 'aside'})),
    (row, query) => {
      setText(row.firstElementChild, query.name);
      setText(row.lastElementChild, `${query.server} ${ago(now.time - query.since)}`);
    });
}

function showDrops(now) {
  const drops = now.drops.filter((drop) => drop.count > 0);
  if (drops.length === 0) drops.push({reason: 'none', words: 'nothing', count: null});
  keepRows(byId('drops'), drops, (drop) => drop.reason,
    (drop) => make('li', {'data-reason': drop.reason}, make('span', {}, drop.words), make('span', {class: 'aside'})),
    (row, drop) => setText(row.lastElementChild, drop.count === null ? '' : count(drop.count)));
}

// What another program prints is not relied on: entries are objects, and their fields texts.
function entriesIn(document, key, most) {
  const list = Array.isArray(document?.[key]) ? document[key] : [];
  return list.filter((entry) => entry !== null && typeof entry === 'object').slice(0, most);
}

function showFacts(status) {
  const facts = entriesIn(status, 'rows', 24).map((row, at) =>
    ({key: `${at} ${row.subject}`, subject: String(row.subject), words: String(row.words), isWell: row.well !== false}));
  if (facts.length === 0) facts.push({key: 'none', subject: 'dns_proxy_ctl', words: 'says nothing, or is not there', isWell: true});
  keepRows(byId('host'), facts, (fact) => fact.key,
    (fact) => make('div', {}, make('dt', {}, fact.subject), make('dd', {}, make('span'), make('span', {class: 'badge', 'data-kind': 'error'}, 'not well'))),
    (row, {words, isWell}) => {
      setText(row.lastElementChild.firstElementChild, words);
      row.lastElementChild.lastElementChild.hidden = isWell;
    });
}

function showFindings(check) {
  const findings = entriesIn(check, 'findings', 20).map((finding, at) =>
    ({at, severity: String(finding.severity), text: `${finding.file}:${finding.line}: ${finding.what} → ${finding.effect}`}));
  const more = (Number(check?.errors) || 0) + (Number(check?.warnings) || 0) - findings.length;
  if (findings.length > 0 && more > 0) findings.push({severity: 'more', text: `${count(more)} further findings: dns_proxy_ctl check`});
  keepRows(byId('findings'), findings, (finding) => `${finding.at} ${finding.severity} ${finding.text}`,
    ({severity, text}) => make('li', {}, make('span', {class: 'badge', 'data-kind': severity}, severity), make('span', {}, text)),
    () => {});
}

export function showNow(now) {
  showState(now);
  showRate(now);
  showTiles(now);
  showServers(now);
  showWaiting(now);
  showDrops(now);
  showFacts(now.status);
  showFindings(now.check);
  const hours = now.memory.query_hours;
  setText(byId('kept'), hours === 0 ? 'single queries are not kept' : `kept for ${count(hours)} hours, then forgotten`);
  const size = `${count(Math.round(now.memory.bytes / 1048576))} MB at most`;
  setText(byId('memory'), now.memory.failing ? 'The database can’t be written at present; nothing is lost while this program runs.'
    : `Totals are kept for 400 days; ${hours === 0 ? 'single queries are not kept' : `single queries for ${count(hours)} hours`}; ${size}.`);
}
