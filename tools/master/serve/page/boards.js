// Boards: role, signal, load, what they do, and what the plan has otherwise.
import {byId, counted, keep, make, programmesOf, programmeText, put, say, show, spanText} from './parts.js';
import {canOrder, stopPlaying} from './orders.js';

function create(board) {
  const meter = (name, attributes) => [
    make('span', {}, name), make('meter', {min: 0, max: 100, ...attributes, 'aria-label': `${name} in percent`}), make('output', {}),
  ];
  const bars = make('div', {class: 'bars'});
  if (board.role === 'transmitter') bars.append(...meter('signal', {low: 60, high: 100, optimum: 80, class: 'signal'}));
  bars.append(...meter('load', {low: 0, high: 90, optimum: 50, class: 'load'}));
  return make('article', {class: 'board', id: board.id, tabindex: -1},
    make('div', {class: 'row'}, make('span', {class: 'name'}), make('span', {class: 'role'}), make('span', {class: 'state'})),
    make('p', {class: 'what'}), bars,
    make('ul', {class: 'why bad'}),
    make('button', {type: 'button', class: 'stop', hidden: true, onclick: () => stopPlaying(board.id)}, 'Stop playing'));
}

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
  const why = board.health === 'silent' ? board.error : board.dark ? darkText(board, streams) : '';
  return [...(why ? [why] : []), ...(board.plan?.as_planned === false ? board.plan.differences : [])];
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

function update(element, board, streams) {
  const at = (selector) => element.querySelector(selector);
  put(element, 'data-health', troubled(board) ? 'silent' : board.health);
  say(at('.name'), board.name);
  const address = board.name === board.address ? `:${board.port}` : board.id;
  say(at('.role'), `${board.role} ${address}${board.version ? ` · ${board.version}` : ''}`);
  const [state, style] = stateOf(board);
  say(at('.state'), state);
  at('.state').className = `state ${style}`;
  say(at('.what'), whatOf(board, streams));
  const known = board.transmitter ?? board.receiver;
  show(at('.bars'), Boolean(known) && board.health !== 'silent');
  for (const [name, value] of [['signal', board.transmitter?.signal_percent], ['load', known?.load_percent]]) {
    const meter = at(`meter.${name}`);
    if (!meter || value === undefined) continue;
    if (meter.value !== value) meter.value = value;
    say(meter.nextElementSibling, `${value} %`);
  }
  keep(at('.why'), whyOf(board, streams), (text) => text, (text) => make('li', {}, text), () => {});
  show(at('.stop'), canOrder() && Boolean(board.receiver?.plays_stream));
}

const troubled = (board) => board.health === 'silent' || Boolean(board.dark) || board.plan?.as_planned === false;

export function drawBoards(overview) {
  // After those in trouble, transmitters: what they send decides what receivers can play.
  const boards = [...overview.boards].sort((a, b) => troubled(b) - troubled(a) || b.role.localeCompare(a.role));
  keep(byId('board-rows'), boards, (board) => board.id, create, (element, board) => update(element, board, overview.streams));
  say(byId('boards-count'), boards.length ? String(boards.length) : '');
  byId('board-rows').classList.toggle('compact', boards.length > 8);
  show(byId('boards-nothing'), boards.length === 0);
}
