// The guide of each transmitter as a grid of time, with now marked.
import {byId, clockText, dayText, follow, isLocal, keep, make, openDialog, say, sayHead, show} from './parts.js';

const kMinute = 60000;
const kPixels = 6;            // a minute
const kNarrow = 75;           // pixels: too few for a title and a time on lines of their own
const kBefore = 30;           // minutes shown before now
const guides = new Map();     // board id: {revision, rows}
const offsets = new Map();    // board id: broadcast time minus this machine's, in milliseconds

const rowsOf = ({guide}) => guide.map(({channel, events}) => ({
  channel, events: events.map((event) => ({...event, from: Date.parse(event.start), to: Date.parse(event.end)})),
}));

/** The broadcast's time at a board, in milliseconds, or this machine's where it reports none. */
export function broadcastNow(board) {
  if (board?.broadcast_time) {
    const offset = Date.parse(board.broadcast_time) - Date.now();
    // Reported in whole seconds: small steps aren't followed.
    if (Math.abs(offset - (offsets.get(board.id) ?? Infinity)) > 1500) offsets.set(board.id, offset);
  }
  return Date.now() + (offsets.get(board?.id) ?? 0);
}

function showEvent(event, channel) {
  const what = [make('p', {class: 'soft'}, `${channel.name} · ${dayText(event.from)}, ${clockText(event.from)} to ${clockText(event.to)}`)];
  if (event.text) what.push(make('p', {}, event.text));
  openDialog(event.title || 'No title', what);
}

/** Arrow keys go from event to event; one event of a grid is in the tab order. */
function move(event) {
  const steps = {ArrowLeft: [0, -1], ArrowRight: [0, 1], ArrowUp: [-1, 0], ArrowDown: [1, 0]};
  const step = steps[event.key], from = event.target.closest('.event');
  if (!step || !from) return;
  const lines = [...from.closest('.sheet').querySelectorAll('.line')].map((line) => [...line.querySelectorAll('.event')]);
  const row = lines.findIndex((line) => line.includes(from));
  let to = lines[row][lines[row].indexOf(from) + step[1]];
  if (step[0]) {
    const x = Math.max(from.offsetLeft, 0);
    to = (lines[row + step[0]] ?? []).filter((item) => item.offsetLeft <= x + 1).pop() ?? (lines[row + step[0]] ?? [])[0];
  }
  if (!to) return;
  event.preventDefault();
  from.tabIndex = -1;
  to.tabIndex = 0;
  to.focus();
  to.scrollIntoView({block: 'nearest', inline: 'nearest'});
}

function create(board) {
  const sheet = make('div', {class: 'sheet', onkeydown: move});
  return make('div', {class: 'guide'}, make('h3', {}), make('p', {class: 'why warn'}),
    make('div', {class: 'scroller', tabindex: 0, role: 'region', 'aria-label': `guide of ${board.name}`}, sheet));
}

function createEvent(event, channel, start) {
  const left = Math.max(0, (event.from - start) / kMinute) * kPixels;
  const right = ((event.to - start) / kMinute) * kPixels;
  const times = `${clockText(event.from)}–${clockText(event.to)}`;
  const element = make('button', {type: 'button', class: 'event', tabindex: -1, title: `${times} ${event.title}`,
    onclick: () => showEvent(event, channel)}, make('span', {}, event.title || '—', make('small', {}, times)));
  element.style.left = `${left}px`;
  element.style.width = `${Math.max(6, right - left - 3)}px`;
  element.classList.toggle('narrow', right - left < kNarrow);
  element.dataset.from = event.from;
  element.dataset.to = event.to;
  return element;
}

function fill(sheet, rows, start, end) {
  const width = ((end - start) / kMinute) * kPixels;
  const track = () => {
    const element = make('div', {class: 'track'});
    element.style.width = `${width}px`;
    return element;
  };
  const hours = track();
  for (let moment = start; moment < end; moment += 30 * kMinute) {
    const hour = make('span', {class: 'hour'}, clockText(moment));
    hour.style.left = `${((moment - start) / kMinute) * kPixels}px`;
    hours.append(hour);
  }
  const lines = rows.map(({channel, events}) => {
    const line = track();
    line.append(...events.filter((event) => event.to > start && event.from < end).map((event) => createEvent(event, channel, start)));
    if (!events.length) line.append(make('p', {class: 'label soft'}, 'nothing known'));
    return make('div', {class: 'line'}, make('div', {class: 'label', title: channel.name}, channel.name || channel.number || '—'), line);
  });
  sheet.replaceChildren(make('div', {class: 'hours'}, make('div', {class: 'label'}, isLocal() ? 'here' : 'UTC'), hours), ...lines,
    make('div', {class: 'now'}, make('span', {})));
  (sheet.querySelector('.event') ?? sheet).tabIndex = sheet.querySelector('.event') ? 0 : -1;
}

function mark(element, now, start) {
  const sheet = element.querySelector('.sheet'), line = sheet.querySelector('.now');
  const label = sheet.querySelector('.label').offsetWidth;
  line.style.left = `${label + ((now - start) / kMinute) * kPixels}px`;
  say(line.firstChild, clockText(now));
  const place = line.firstChild.getBoundingClientRect();
  for (const hour of sheet.querySelectorAll('.hour')) {
    const {left, right} = hour.getBoundingClientRect();
    hour.classList.toggle('under', left < place.right && right > place.left);
  }
  for (const event of sheet.querySelectorAll('.event')) {
    const on = Number(event.dataset.from) <= now && now < Number(event.dataset.to);
    event.classList.toggle('on', on);
    event.classList.toggle('past', Number(event.dataset.to) <= now);
    if (on) event.setAttribute('aria-current', 'time');
    else event.removeAttribute('aria-current');
  }
}

function update(element, board, several) {
  const guide = guides.get(board.id), now = broadcastNow(board);
  sayHead(element, board.name, several, board.guide_error);
  const rows = guide?.rows ?? [];
  show(element.querySelector('.scroller'), rows.length > 0);
  if (!rows.length) return;
  const start = Math.floor((now - kBefore * kMinute) / (30 * kMinute)) * 30 * kMinute;
  const drawn = `${guide.revision} ${start} ${isLocal()}`;
  if (element.dataset.drawn !== drawn) {
    const ends = rows.flatMap(({events}) => events.map((event) => event.to));
    const end = Math.min(Math.max(start + 180 * kMinute, ...ends), start + 12 * 60 * kMinute);
    // The focus is kept when the sheet is replaced.
    const focus = [...element.querySelectorAll('.event')].indexOf(document.activeElement);
    fill(element.querySelector('.sheet'), rows, start, end);
    if (focus >= 0) element.querySelectorAll('.event')[focus]?.focus({preventScroll: true});
    element.dataset.drawn = drawn;
  }
  mark(element, now, start);
}

export function drawGuides(overview) {
  const boards = overview.boards.filter((board) => board.role === 'transmitter');
  for (const board of boards) follow(guides, board, board.guide_revision, '/api/guide', rowsOf);
  const shown = boards.filter((board) => guides.get(board.id)?.rows.length || board.guide_error);
  keep(byId('guides'), shown, (board) => board.id, create, (element, board) => update(element, board, boards.length > 1));
  show(byId('guide-nothing'), shown.length === 0);
}
