// Small helpers: elements are made one by one and texts are set as texts, never as markup.

export const byId = (id) => document.getElementById(id);

export function make(tag, attributes = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) element.setAttribute(name, value);
  element.append(...children);
  return element;
}

export function makeSvg(tag, attributes = {}, ...children) {
  const element = document.createElementNS('http://www.w3.org/2000/svg', tag);
  for (const [name, value] of Object.entries(attributes)) element.setAttribute(name, value);
  element.append(...children);
  return element;
}

// Writes only what has changed: no flicker, no new announcement.
export function setText(element, text) {
  if (element.textContent !== text) element.textContent = text;
}

// Makes `parent` hold one child for each item, in their order, and keeps those that are there.
export function keepRows(parent, items, keyOf, create, update) {
  const known = new Map();
  for (const child of parent.children) known.set(child.dataset.key, child);
  let place = parent.firstElementChild;
  for (const item of items) {
    const key = String(keyOf(item));
    let child = known.get(key);
    if (child) known.delete(key);
    else {
      child = create(item);
      child.dataset.key = key;
    }
    if (child === place) place = place.nextElementSibling;
    else parent.insertBefore(child, place);
    update(child, item);
  }
  for (const child of known.values()) child.remove();
}

export const OUTCOMES = [
  ['answered', 'answered', 'Answered by a server'],
  ['host_map', 'host map', 'From the host map'],
  ['no_such_name', 'no such name', 'No such name'],
  ['lost', 'lost', 'Lost'],
];
export const outcomeWords = Object.fromEntries(OUTCOMES.map(([key, words]) => [key, words]));

const numbers = new Intl.NumberFormat('en');
export const count = (number) => numbers.format(number);

export function duration(microseconds) {
  if (microseconds === null || microseconds === undefined) return '–';
  if (microseconds < 1000) return '< 1 ms';
  const milliseconds = microseconds / 1000;
  if (milliseconds < 10) return `${milliseconds.toFixed(1)} ms`;
  if (milliseconds < 10000) return `${Math.round(milliseconds)} ms`;
  return `${(milliseconds / 1000).toFixed(1)} s`;
}

export function ago(milliseconds) {
  const seconds = Math.max(0, Math.round(milliseconds / 1000));
  if (seconds < 60) return `${seconds} s`;
  if (seconds < 3600) return `${Math.floor(seconds / 60)} min`;
  if (seconds < 86400) return `${Math.floor(seconds / 3600)} h`;
  return `${Math.floor(seconds / 86400)} d`;
}

const two = (number) => String(number).padStart(2, '0');
export function clock(milliseconds) {
  const time = new Date(milliseconds);
  return `${two(time.getHours())}:${two(time.getMinutes())}:${two(time.getSeconds())}`;
}
export function day(milliseconds) {
  const time = new Date(milliseconds);
  return `${time.getFullYear()}-${two(time.getMonth() + 1)}-${two(time.getDate())}`;
}
export const minute = (milliseconds) => clock(milliseconds).slice(0, 5);

export async function load(address) {
  const response = await fetch(address);
  if (!response.ok) throw new Error(await response.text());
  return response.json();
}
