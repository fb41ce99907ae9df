// Streams: their content, their state, and a picture.
import {byId, counted, keep, make, makeSvg, programmesOf, programmeText, put, rateParts, say, show, spanText} from './parts.js';
import {askWhereToPlay, canOrder, confirmStop} from './orders.js';

const kHeight = 60;

function create(stream) {
  const plot = makeSvg('svg', {class: 'plot', viewBox: `0 0 180 ${kHeight}`, preserveAspectRatio: 'none', role: 'img'});
  for (const name of ['area', 'base', 'edge', 'errors']) plot.append(makeSvg('path', {class: name}));
  const image = make('img', {alt: '', hidden: true});
  image.addEventListener('error', () => { image.hidden = true; });
  return make('article', {class: 'stream', id: stream.stream, tabindex: 0},
    make('div', {class: 'still'}, image, make('p', {class: 'none'}, 'no picture yet'), make('p', {class: 'age'})),
    make('div', {class: 'body'},
      make('p', {class: 'name'}),
      make('p', {class: 'where'}),
      make('div', {class: 'row'}, make('span', {class: 'rate'}), make('span', {class: 'badge'}))),
    make('div', {class: 'history'}, plot,
      make('div', {class: 'scale'}, make('span'), make('span', {class: 'top'}), make('span', {}, 'now'))),
    make('ul', {class: 'faults'}),
    make('div', {class: 'under'}, make('div', {class: 'foot'}), make('div', {class: 'actions', hidden: true},
      make('button', {type: 'button', class: 'play'}, 'Play on…'), make('button', {type: 'button', class: 'stop'}, 'Stop…'))));
}

/** Its name for people: its channels, or the group where no list has them. */
export function nameOf(stream) {
  const named = programmesOf(stream).filter((programme) => programme.name);
  if (!named.length) return [stream.stream, ''];
  const shown = named.slice(0, 3).map((programme) => programme.name).join(', ') + (named.length > 3 ? ` and ${named.length - 3} more` : '');
  return [shown, named.length === 1 ? named[0].number ?? '' : ''];
}

function badgeOf(stream) {
  switch (stream.health) {
    case 'good': return '● good';
    case 'silent': return stream.error ? '▲ can’t be joined' : `▲ nothing for ${spanText(stream.silent_seconds)}`;
    case 'faulty': return stream.recent_errors ? '▲ loses packets' : '▲ faulty';
    default: return '○ being judged';
  }
}

function draw(element, stream, seconds) {
  const bits = stream.history.bits, errors = stream.history.errors;
  const most = Math.max(1, ...bits) * 1.12;
  const x = (index) => 180 - ((bits.length - 1 - index) * 180) / (seconds - 1);
  const y = (value) => kHeight - 2 - (value / most) * (kHeight - 4);
  const line = bits.map((value, index) => `${index ? 'L' : 'M'}${x(index).toFixed(1)} ${y(value).toFixed(1)}`).join('');
  const part = (name) => element.querySelector(`.plot .${name}`);
  const last = bits.length - 1;
  put(part('edge'), 'd', line || 'M0 0');
  put(part('area'), 'd', last > 0 ? `${line}L180 ${kHeight}L${x(0).toFixed(1)} ${kHeight}Z` : 'M0 0');
  put(part('base'), 'd', `M0 ${kHeight - 1}H180`);
  // The height of an error bar tells the order of magnitude.
  put(part('errors'), 'd', errors.map((value, index) => (value
    ? `M${x(index).toFixed(1)} ${kHeight}V${(kHeight * (1 - Math.min(1, .35 + Math.log10(value) / 4))).toFixed(1)}` : '')).join('') || 'M0 0');
  put(element.querySelector('.plot'), 'aria-label',
    `bit rate of the last ${spanText(bits.length)}, at most ${rateParts(Math.max(0, ...bits)).join(' ')}`);
  say(element.querySelector('.scale').firstChild, `−${spanText(seconds)}`);
  say(element.querySelector('.scale .top'), bits.length ? `peak ${rateParts(Math.max(...bits)).join(' ')}` : '');
}

function drawStill(element, stream) {
  const image = element.querySelector('img');
  if (stream.picture) {
    const source = `/api/picture?stream=${encodeURIComponent(stream.stream)}&number=${stream.picture.number}`;
    if (image.getAttribute('src') !== source) {
      image.setAttribute('src', source);
      image.alt = `still picture of ${nameOf(stream)[0]}`;
      image.hidden = false;
    }
  }
  show(element.querySelector('.none'), image.hidden);
  say(element.querySelector('.none'), stream.picture_error ?? 'no picture yet');
  show(element.querySelector('.age'), Boolean(stream.picture) && stream.picture.age_seconds > 30);
  if (stream.picture) say(element.querySelector('.age'), `${spanText(stream.picture.age_seconds)} ago`);
}

function footOf(stream, boards) {
  const nameOfBoard = (id) => boards.get(id)?.name ?? id;
  const parts = [];
  parts.push([stream.players.length ? `plays on ${stream.players.map(nameOfBoard).join(', ')}` : 'plays on no receiver', 'soft']);
  const total = stream.continuity_errors + stream.sync_losses;
  if (stream.recent_errors) parts.push([`${counted(stream.recent_errors, 'error')} in the last minute`, stream.health === 'good' ? 'warn' : 'bad']);
  if (total !== stream.recent_errors || !total) parts.push([`${counted(total, 'error')} in ${spanText(stream.watched_seconds)}`, 'soft']);
  if (stream.dropped_here) parts.push([`${counted(stream.dropped_here, 'datagram')} dropped by this machine`, 'warn']);
  if (stream.sources.length > 1) parts.push([`${stream.sources.length} slots send here`, 'warn']);
  return parts;
}

function update(element, stream, overview, boards) {
  const at = (selector) => element.querySelector(selector);
  put(element, 'data-health', stream.health);
  const [name, number] = nameOf(stream);
  const title = at('.name');
  if (title.dataset.text !== name + number) {
    title.dataset.text = name + number;
    title.replaceChildren(name, ...(number ? [make('small', {}, number)] : []));
  }
  const sender = stream.sources.map((source) => `${boards.get(source.board)?.name ?? source.board}, slot ${source.slot}`).join(' and ');
  say(at('.where'), `${name === stream.stream ? '' : `${stream.stream} `}from ${sender || 'nobody any more'}`);
  const [rate, unit] = rateParts(stream.bits_per_second);
  at('.rate').replaceChildren(rate, make('small', {}, unit));
  say(at('.badge'), badgeOf(stream));
  draw(element, stream, overview.history_seconds);
  drawStill(element, stream);
  const foot = footOf(stream, boards);
  keep(at('.foot'), foot.map(([text, style], index) => ({text, style, index})), (item) => String(item.index), () => make('span', {}), (part, item) => {
    say(part, item.text);
    part.className = item.style;
  });
  const named = (fault) => fault.replace(/\bof (programme )?(\d+)/, (_, word, number) => `of ${programmeText(Number(number), programmesOf(stream))}`);
  const faults = [...(stream.error ? [stream.error] : []), ...(stream.health === 'good' ? [] : stream.faults.map(named))].slice(0, 4);
  keep(at('.faults'), faults, (text) => text, (text) => make('li', {}, text), () => {});
  show(at('.faults'), faults.length > 0);
  show(at('.actions'), canOrder());
  at('.play').onclick = () => askWhereToPlay(stream, overview);
  at('.stop').onclick = () => confirmStop(stream, name);
  show(at('.stop'), stream.sources.length > 0);
}

export function drawStreams(overview) {
  const boards = new Map(overview.boards.map((board) => [board.id, board]));
  // Trouble comes first, so that it is seen without scrolling.
  const weight = {silent: 0, faulty: 1, waiting: 2, good: 2};
  const streams = [...overview.streams].sort((a, b) => weight[a.health] - weight[b.health]);
  keep(byId('stream-cards'), streams, (stream) => stream.stream, create, (element, stream) => update(element, stream, overview, boards));
  byId('stream-cards').className = streams.length <= 2 ? 'roomy' : streams.length > 8 ? 'compact' : '';
  const total = streams.reduce((sum, stream) => sum + stream.bits_per_second, 0);
  say(byId('streams-count'), streams.length ? `${streams.length} · ${rateParts(total).join(' ')}` : '');
  show(byId('streams-nothing'), streams.length === 0);
}
