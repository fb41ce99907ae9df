// Boards: role, signal, load, what they do, and what the plan has otherwise.
import {byId, counted, drawPart, make, programmesOf, programmeText, spanText} from './parts.js';
import {canOrder, stopPlaying} from './orders.js';

function stateOf(board) {
  switch (board.health) {
    case 'silent': return ['no answer for ' + spanText(board.silent_seconds), 'bad'];
    case 'busy': return [board.error === 'it takes an order' ? 'takes an order' : 'in use by another zulctl', 'warn'];
    case 'waiting': return [board.error === 'not asked yet' ? 'being asked' : 'waits for an answer', 'warn'];
    default: break;
  }
  if (board.scan?.state === 'running') return [`scanning channel ${board.scan.channel}`, 'soft'];
  if (board.plan?.paused) return ['plan paused', 'warn'];
  return board.plan?.as_planned === false ? ['not as planned', 'bad'] : ['', 'soft'];
}

const playable = (receiver, streams) => programmesOf(streams.find((item) => item.stream === `${receiver.group}:${receiver.port}`));

/** What darkens a receiver's television. Findings have programmes as four hexadecimal digits. */
function darkText({dark, receiver}, streams) {
  const finding = dark.finding.replace(/programme ([0-9a-f]{4})\b/, (_, hex) => programmeText(parseInt(hex, 16), playable(receiver, streams)));
  return `${finding}. ${dark.advice ?? ''}`;
}

/** What is wrong with a board, a line each. */
function whyOf(board, streams) {
  const why = board.health === 'silent' ? board.error : board.dark && darkText(board, streams);
  return [why, ...(board.plan?.differences ?? [])].filter(Boolean);
}

function whatOf(board, streams) {
  if (board.transmitter) {
    const active = board.transmitter.streams.filter((stream) => stream.active).length;
    const tuned = board.scan ? `, channel ${board.scan.channel}` : '';
    return `${board.transmitter.tuner_mode || 'no tuner'}${tuned}${board.transmitter.locked ? '' : ', not locked'} · ` +
      (active ? `sends ${counted(active, 'stream')}` : 'sends nothing');
  }
  if (board.receiver) {
    const page = board.receiver.browser_up ? ', with a page' : '';
    if (board.receiver.plays_stream) return `plays ${programmeText(board.receiver.programme, playable(board.receiver, streams))} from ${board.receiver.group}:${board.receiver.port}${page}`;
    const ordered = board.receiver.group && board.receiver.group !== '0.0.0.0';
    return (ordered ? `ordered to play ${board.receiver.group}:${board.receiver.port}` : 'plays no stream') + page;
  }
  return '';
}

function barsOf({health, transmitter, receiver}) {
  const bar = (name, value, limits) => [make('span', {}, name),
    make('meter', {min: 0, max: 100, ...limits, value, 'aria-label': `${name} in percent`}), make('output', {}, `${value} %`)];
  const known = transmitter ?? receiver;
  return known && health !== 'silent' && make('div', {class: 'bars'},
    transmitter && bar('signal', transmitter.signal_percent, {low: 60, high: 100, optimum: 80}),
    bar('load', known.load_percent, {low: 0, high: 90, optimum: 50}));
}

const troubled = (board) => board.health === 'silent' || Boolean(board.dark) || board.plan?.as_planned === false;

function describe(board, streams) {
  const [state, style] = stateOf(board), address = board.name === board.address ? `:${board.port}` : board.id;
  return make('article', {class: 'board', id: board.id, tabindex: -1, 'data-health': troubled(board) ? 'silent' : board.health},
    make('div', {class: 'row'}, make('span', {class: 'name'}, board.name),
      make('span', {class: 'role'}, `${board.role} ${address}${board.version ? ` · ${board.version}` : ''}`),
      make('span', {class: `state ${style}`}, state)),
    make('p', {class: 'what'}, whatOf(board, streams)),
    barsOf(board),
    make('ul', {class: 'why bad'}, whyOf(board, streams).map((text) => make('li', {}, text))),
    canOrder() && board.receiver?.plays_stream &&
      make('button', {type: 'button', class: 'stop', onclick: () => stopPlaying(board.id)}, 'Stop playing'));
}

export function drawBoards({boards, streams}) {
  // After those in trouble, transmitters: what they send decides what receivers can play.
  const sorted = [...boards].sort((a, b) => troubled(b) - troubled(a) || b.role.localeCompare(a.role));
  drawPart('boards', sorted.map((board) => describe(board, streams)), boards.length);
  byId('boards-list').classList.toggle('compact', boards.length > 8);
}
