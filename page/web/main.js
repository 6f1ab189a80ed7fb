// Begins everything, listens to the stream of events, and keeps the slower parts up to date.

import {byId, setText} from '/elements.js';
import {beginHistory, refreshHistory} from '/history.js';
import {beginLog, knowServers, refreshLog, refreshNames, takeQueries} from '/log.js';
import {showBroken, showNow} from '/now.js';

const THEMES = ['system', 'light', 'dark'];
const SLOW_MS = 5000;

function beginTheme() {
  let theme = localStorage.getItem('theme') ?? 'system';
  const apply = () => {
    document.documentElement.dataset.theme = theme;
    setText(byId('theme'), `Theme: ${theme}`);
  };
  byId('theme').addEventListener('click', () => {
    theme = THEMES[(THEMES.indexOf(theme) + 1) % THEMES.length];
    localStorage.setItem('theme', theme);
    apply();
  });
  apply();
}

let hasBroken = false;
let hasNews = false;

function listen() {
  const stream = new EventSource('/api/events');
  stream.addEventListener('now', (event) => {
    const now = JSON.parse(event.data);
    showNow(now);
    knowServers(now.servers.map((server) => server.address));
    if (hasBroken) {
      hasBroken = false;
      refreshLog();
      refreshSlowParts();
    }
  });
  stream.addEventListener('queries', (event) => {
    hasNews = true;
    takeQueries(JSON.parse(event.data));
  });
  stream.addEventListener('error', () => {
    hasBroken = true;
    showBroken();
  });
}

async function refreshSlowParts() {
  if (document.hidden) return;
  try {
    await Promise.all([refreshHistory(), refreshNames()]);
  } catch {
    // The stream says when the program is there again.
  }
}

beginTheme();
listen();
beginHistory();
beginLog();
setInterval(() => {
  if (hasNews) refreshSlowParts();
  hasNews = false;
}, SLOW_MS);
setInterval(refreshSlowParts, 60000);
document.addEventListener('visibilitychange', refreshSlowParts);
