// Streams: their content, their state, and a picture.
import {byId, counted, drawPart, make, programmesOf, programmeText, rateParts, spanText} from './parts.js';
import {askWhereToPlay, canOrder, confirmStop} from './orders.js';

const kHeight = 60;

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

function plotOf({history: {bits, errors}}, seconds) {
  const most = Math.max(1, ...bits) * 1.12;
  const x = (index) => (180 - ((bits.length - 1 - index) * 180) / (seconds - 1)).toFixed(1);
  const y = (value) => (kHeight - 2 - (value / most) * (kHeight - 4)).toFixed(1);
  // The height of an error bar tells the order of magnitude.
  const bar = (value, index) => (value && `M${x(index)} ${kHeight}V${(kHeight * (1 - Math.min(1, .35 + Math.log10(value) / 4))).toFixed(1)}`);
  const line = bits.map((value, index) => `${index ? 'L' : 'M'}${x(index)} ${y(value)}`).join('');
  const paths = {
    area: bits.length > 1 ? `${line}L180 ${kHeight}L${x(0)} ${kHeight}Z` : '',
    base: `M0 ${kHeight - 1}H180`,
    edge: line,
    errors: errors.map(bar).filter(Boolean).join(''),
  };
  const peak = rateParts(Math.max(0, ...bits)).join(' ');
  return make('div', {class: 'history'},
    make('svg', {class: 'plot', viewBox: `0 0 180 ${kHeight}`, preserveAspectRatio: 'none', role: 'img',
      'aria-label': `bit rate of the last ${spanText(bits.length)}, at most ${peak}`},
    Object.entries(paths).map(([name, d]) => make('path', {class: name, d}))),
    make('div', {class: 'scale'}, make('span', {}, `−${spanText(seconds)}`),
      make('span', {class: 'top'}, bits.length > 0 && `peak ${peak}`), make('span', {}, 'now')));
}

function stillOf({stream, picture, picture_error: why}, name) {
  const source = picture && `/api/picture?stream=${encodeURIComponent(stream)}&number=${picture.number}`;
  const show = ({type, target}) => { target.hidden = type === 'error'; };
  return make('div', {class: 'still'},
    source && make('img', {src: source, alt: `still picture of ${name}`, onload: show, onerror: show}),
    make('p', {class: 'none'}, why ?? 'no picture yet'),
    picture?.age_seconds > 30 && make('p', {class: 'age'}, `${spanText(picture.age_seconds)} ago`));
}

function footOf(stream, nameOfBoard) {
  const part = (text, style) => make('span', {class: style}, text);
  const total = stream.continuity_errors + stream.sync_losses, recent = stream.recent_errors;
  return make('div', {class: 'foot'},
    part(stream.players.length ? `plays on ${stream.players.map(nameOfBoard).join(', ')}` : 'plays on no receiver', 'soft'),
    recent > 0 && part(`${counted(recent, 'error')} in the last minute`, stream.health === 'good' ? 'warn' : 'bad'),
    (total !== recent || !total) && part(`${counted(total, 'error')} in ${spanText(stream.watched_seconds)}`, 'soft'),
    stream.dropped_here > 0 && part(`${counted(stream.dropped_here, 'datagram')} dropped by this machine`, 'warn'),
    stream.sources.length > 1 && part(`${stream.sources.length} slots send here`, 'warn'));
}

function faultsOf(stream) {
  const named = (fault) => fault.replace(/\bof (programme )?(\d+)/, (_, word, number) => `of ${programmeText(Number(number), programmesOf(stream))}`);
  return [stream.error, ...(stream.health === 'good' ? [] : stream.faults.map(named))].filter(Boolean).slice(0, 4);
}

function describe(stream, overview) {
  const nameOfBoard = (id) => overview.boards.find((board) => board.id === id)?.name ?? id;
  const button = (style, text, onclick) => make('button', {type: 'button', class: style, onclick}, text);
  const [name, number] = nameOf(stream), [rate, unit] = rateParts(stream.bits_per_second), faults = faultsOf(stream);
  const sender = stream.sources.map(({board, slot}) => `${nameOfBoard(board)}, slot ${slot}`).join(' and ');
  return make('article', {class: 'stream', id: stream.stream, tabindex: 0, 'data-health': stream.health},
    stillOf(stream, name),
    make('div', {class: 'body'},
      make('p', {class: 'name'}, name, number && make('small', {}, number)),
      make('p', {class: 'where'}, `${name === stream.stream ? '' : `${stream.stream} `}from ${sender || 'nobody any more'}`),
      make('div', {class: 'row'}, make('span', {class: 'rate'}, rate, make('small', {}, unit)), make('span', {class: 'badge'}, badgeOf(stream)))),
    plotOf(stream, overview.history_seconds),
    faults.length > 0 && make('ul', {class: 'faults'}, faults.map((text) => make('li', {}, text))),
    make('div', {class: 'under'}, footOf(stream, nameOfBoard), canOrder() && make('div', {class: 'actions'},
      button('play', 'Play on…', () => askWhereToPlay(stream, overview)),
      stream.sources.length > 0 && button('stop', 'Stop…', () => confirmStop(stream, name)))));
}

export function drawStreams(overview) {
  // Trouble comes first, so that it is seen without scrolling.
  const weight = {silent: 0, faulty: 1, waiting: 2, good: 2};
  const streams = [...overview.streams].sort((a, b) => weight[a.health] - weight[b.health]);
  const total = streams.reduce((sum, stream) => sum + stream.bits_per_second, 0);
  drawPart('streams', streams.map((stream) => describe(stream, overview)),
    streams.length > 0 && `${streams.length} · ${rateParts(total).join(' ')}`);
  byId('streams-list').className = streams.length <= 2 ? 'roomy' : streams.length > 8 ? 'compact' : '';
}
