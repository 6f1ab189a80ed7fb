// Plots as plain SVG. A plot is a picture for those who see it; the same data is on the page as a
// table. The pointer, or the arrow keys, pick a slot, whose values are shown below the plot.

import {makeSvg} from '/elements.js';

const WIDTH = 640;
const HEIGHT = 220;
const LEFT = 52;
const RIGHT = 8;
const TOP = 8;
const BOTTOM = 24;
const INNER_WIDTH = WIDTH - LEFT - RIGHT;
const INNER_HEIGHT = HEIGHT - TOP - BOTTOM;

// The next of 1, 2, 5, 10, 20, ... that four steps of reach `most`.
function stepFor(most) {
  const wanted = most / 4;
  const power = 10 ** Math.floor(Math.log10(wanted));
  return [1, 2, 5, 10].map((factor) => factor * power).find((step) => step >= wanted);
}

function addAxes(svg, most, formatValue, labels) {
  const step = stepFor(most);
  for (let value = 0; value <= most * 1.0001; value += step) {
    const y = TOP + INNER_HEIGHT * (1 - value / most);
    svg.append(makeSvg('line', {class: 'grid', x1: LEFT, x2: WIDTH - RIGHT, y1: y, y2: y}),
      makeSvg('text', {class: 'tick', x: LEFT - 6, y: y + 4, 'text-anchor': 'end'}, value === 0 ? '0' : formatValue(value)));
  }
  for (const {share, text} of labels) {
    svg.append(makeSvg('text', {class: 'tick', x: LEFT + share * INNER_WIDTH, y: HEIGHT - 6, 'text-anchor': 'middle'}, text));
  }
}

function roundUp(most) {
  const step = stepFor(most);
  return step * Math.ceil(most / step);
}

// Stacked bars: `series` is [{name, kind, values}], from the bottom up.
function addBars(svg, series, slots, most) {
  const width = INNER_WIDTH / slots;
  const bases = new Array(slots).fill(0);
  for (const {kind, values} of series) {
    let path = '';
    values.forEach((value, at) => {
      if (!value) return;
      const x = (LEFT + at * width).toFixed(2);
      const y = (TOP + INNER_HEIGHT * (1 - (bases[at] + value) / most)).toFixed(2);
      const height = (INNER_HEIGHT * (value / most)).toFixed(2);
      path += `M${x} ${y}h${Math.max(0.6, width - (width > 4 ? 1 : 0)).toFixed(2)}v${height}h-${Math.max(0.6, width - (width > 4 ? 1 : 0)).toFixed(2)}z`;
      bases[at] += value;
    });
    if (path) svg.append(makeSvg('path', {class: `fill ${kind}`, d: path}));
  }
}

// A line through what is known; a gap where nothing is. `low` and `high` make a band.
function addLine(svg, {kind, low, high}, slots, most) {
  const x = (at) => (LEFT + ((at + 0.5) * INNER_WIDTH) / slots).toFixed(2);
  const y = (value) => (TOP + INNER_HEIGHT * (1 - Math.min(1, value / most))).toFixed(2);
  let run = [];
  const finish = () => {
    if (run.length === 0) return;
    const line = run.map((at) => `${x(at)} ${y(low[at])}`).join('L');
    const back = [...run].reverse().map((at) => `${x(at)} ${y(high[at])}`).join('L');
    svg.append(makeSvg('path', {class: `band ${kind}`, d: `M${line}L${back}Z`}),
      makeSvg('path', {class: `line ${kind}`, d: run.length === 1 ? `M${line}h0.1` : `M${line}`}));
    run = [];
  };
  for (let at = 0; at < slots; ++at) {
    if (low[at] === null) finish();
    else run.push(at);
  }
  finish();
}

function addPicking(svg, slots, tell) {
  const mark = makeSvg('line', {class: 'mark', y1: TOP, y2: TOP + INNER_HEIGHT, x1: -9, x2: -9});
  svg.append(mark);
  let picked = null;
  const pick = (at) => {
    picked = at;
    const x = at === null ? -9 : LEFT + ((at + 0.5) * INNER_WIDTH) / slots;
    mark.setAttribute('x1', x);
    mark.setAttribute('x2', x);
    tell(at);
  };
  svg.addEventListener('pointermove', (event) => {
    const box = svg.getBoundingClientRect();
    const x = ((event.clientX - box.left) * WIDTH) / box.width - LEFT;
    const at = Math.floor((x * slots) / INNER_WIDTH);
    pick(at >= 0 && at < slots ? at : null);
  });
  svg.addEventListener('pointerleave', () => pick(null));
  svg.addEventListener('keydown', (event) => {
    const move = {ArrowLeft: -1, ArrowRight: 1}[event.key];
    if (event.key === 'Escape') pick(null);
    if (!move) return;
    event.preventDefault();
    pick(Math.min(slots - 1, Math.max(0, picked === null ? slots - 1 : picked + move)));
  });
}

function draw(place, label, slots, most, formatValue, labels, add, tell) {
  const svg = makeSvg('svg', {viewBox: `0 0 ${WIDTH} ${HEIGHT}`, role: 'img', 'aria-label': label, tabindex: '0'});
  addAxes(svg, most, formatValue, labels);
  add(svg);
  addPicking(svg, slots, tell);
  place.replaceChildren(svg);
}

export function drawStack(place, label, series, slots, formatValue, labels, tell) {
  let most = 4;
  for (let at = 0; at < slots; ++at) most = Math.max(most, series.reduce((sum, one) => sum + one.values[at], 0));
  most = roundUp(most);
  draw(place, label, slots, most, formatValue, labels, (svg) => addBars(svg, series, slots, most), tell);
}

export function drawBands(place, label, bands, slots, formatValue, labels, tell) {
  let most = 1000;
  for (const {high} of bands) for (const value of high) most = Math.max(most, value ?? 0);
  most = roundUp(most);
  draw(place, label, slots, most, formatValue, labels,
    (svg) => bands.forEach((band) => addLine(svg, band, slots, most)), tell);
}
