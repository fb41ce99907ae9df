// The guide of each transmitter as a grid of time, with now marked.
import {byId, clockText, dayText, drawPart, isLocal, listsOf, make, openDialog} from './parts.js';

const kHalfHour = 30 * 60000;
const kNarrow = 75;         // pixels: too few for a title and a time on lines of their own
const offsets = new Map();  // board id: broadcast time minus this machine's, in milliseconds

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
  const when = `${dayText(event.from)}, ${clockText(event.from)} to ${clockText(event.to)}`;
  openDialog(event.title || 'No title',
    [make('p', {class: 'soft'}, `${channel.name} · ${when}`), event.text && make('p', {}, event.text)]);
}

/** Arrow keys go from event to event; one event of a grid is in the tab order. */
function move(event) {
  const steps = {ArrowLeft: [0, -1], ArrowRight: [0, 1], ArrowUp: [-1, 0], ArrowDown: [1, 0]};
  const [down, right] = steps[event.key] ?? [0, 0], from = event.target.closest('.event');
  const lines = [...event.currentTarget.querySelectorAll('.line')].map((line) => [...line.querySelectorAll('.event')]);
  const line = lines[lines.findIndex((events) => events.includes(from)) + down] ?? [];
  const to = right ? line[line.indexOf(from) + right] : line.findLast((item) => item.offsetLeft <= from.offsetLeft + 1) ?? line[0];
  if (!to || to === from) return;
  event.preventDefault();
  from.tabIndex = -1;
  to.tabIndex = 0;
  to.focus();
  to.scrollIntoView({block: 'nearest', inline: 'nearest'});
}

const pixels = (span) => (span / kHalfHour) * 180;

function describeEvent(event, channel, start, now) {
  const left = Math.max(0, pixels(event.from - start)), width = pixels(event.to - start) - left;
  const times = `${clockText(event.from)}–${clockText(event.to)}`, on = event.from <= now && now < event.to;
  const style = ['event', width < kNarrow && 'narrow', on && 'on', event.to <= now && 'past'].filter(Boolean).join(' ');
  return make('button', {type: 'button', class: style, 'data-key': event.from, tabindex: -1, title: `${times} ${event.title}`,
    'aria-current': on && 'time', onclick: () => showEvent(event, channel),
    style: {left: `${left}px`, width: `${Math.max(6, width - 3)}px`}}, make('span', {}, event.title || '—', make('small', {}, times)));
}

function describeSheet(rows, now) {
  const start = (Math.floor(now / kHalfHour) - 1) * kHalfHour;
  const ends = rows.flatMap(({events}) => events.map((event) => event.to));
  const end = Math.min(Math.max(start + 6 * kHalfHour, ...ends), start + 24 * kHalfHour);
  const track = (content) => make('div', {class: 'track', style: {width: `${pixels(end - start)}px`}}, content);
  const hours = [];
  for (let moment = start; moment < end; moment += kHalfHour)
    hours.push(make('span', {class: 'hour', style: {left: `${pixels(moment - start)}px`}}, clockText(moment)));
  const lines = rows.map(({channel, events}) => {
    const shown = events.filter((event) => event.to > start && event.from < end).map((event) => describeEvent(event, channel, start, now));
    return make('div', {class: 'line'}, make('div', {class: 'label', title: channel.name}, channel.name || channel.number || '—'),
      track(events.length ? shown : make('p', {class: 'label soft'}, 'nothing known')));
  });
  return make('div', {class: 'sheet', onkeydown: move},
    make('div', {class: 'hours'}, make('div', {class: 'label'}, isLocal() ? 'here' : 'UTC'), track(hours)), lines,
    make('div', {class: 'now', style: {left: `calc(var(--label) + ${pixels(now - start)}px)`}}, make('span', {}, clockText(now))));
}

/** Hides the hours under the mark of now, and puts an event of each sheet in the tab order. */
function tidy(sheet) {
  const place = sheet.querySelector('.now span').getBoundingClientRect();
  for (const hour of sheet.querySelectorAll('.hour')) {
    const {left, right} = hour.getBoundingClientRect();
    hour.classList.toggle('under', left < place.right && right > place.left);
  }
  if (!sheet.querySelector('.event[tabindex="0"]')) sheet.querySelector('.event')?.setAttribute('tabindex', 0);
}

export function drawGuides(overview) {
  drawPart('guide', listsOf(overview, 'guide', rowsOf).map(({board, head, rows}) =>
    make('div', {class: 'guide', 'data-key': board.id}, head, rows.length > 0 &&
      make('div', {class: 'scroller', tabindex: 0, role: 'region', 'aria-label': `guide of ${board.name}`}, describeSheet(rows, broadcastNow(board))))));
  document.querySelectorAll('.sheet').forEach(tidy);
}
