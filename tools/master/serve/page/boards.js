// Boards: role, signal, load, and what they do.
import {byId, counted, hexText, keep, make, put, say, show, spanText} from './parts.js';
import {canOrder, stopPlaying} from './orders.js';

function create(board) {
  const meter = (name, attributes) => [
    make('span', {}, name), make('meter', {min: 0, max: 100, ...attributes, 'aria-label': `${name} in percent`}), make('output', {}),
  ];
  const bars = make('div', {class: 'bars'});
  if (board.role === 'transmitter') bars.append(...meter('signal', {low: 60, high: 100, optimum: 80, class: 'signal'}));
  bars.append(...meter('load', {low: 0, high: 90, optimum: 50, class: 'load'}));
  return make('article', {class: 'board'},
    make('div', {class: 'row'}, make('span', {class: 'name'}), make('span', {class: 'role'}), make('span', {class: 'state'})),
    make('p', {class: 'what'}), bars,
    make('p', {class: 'why bad'}),
    make('button', {type: 'button', class: 'stop', hidden: true, onclick: () => stopPlaying(board.id)}, 'Stop playing'));
}

function stateOf(board) {
  switch (board.health) {
    case 'silent': return ['no answer for ' + spanText(board.silent_seconds), 'bad'];
    case 'busy': return [board.error === 'it takes an order' ? 'takes an order' : 'in use by another zulctl', 'warn'];
    case 'waiting': return [board.error === 'not asked yet' ? 'being asked' : 'waits for an answer', 'warn'];
    default: return [board.scan?.state === 'running' ? `scanning channel ${board.scan.channel}` : '', 'soft'];
  }
}

/** "CINEMA (2.1)" where a transmitter's list names what a receiver plays. */
function playedName(receiver, streams) {
  const stream = streams.find((item) => item.stream === `${receiver.group}:${receiver.port}`);
  const programmes = stream?.sources.flatMap((source) => source.programmes) ?? [];
  const played = programmes.find((item) => item.programme === receiver.programme);
  if (!played?.name) return `programme ${hexText(receiver.programme)}`;
  return played.number ? `${played.name} (${played.number})` : played.name;
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
    if (board.receiver.plays_stream) return `plays ${playedName(board.receiver, streams)} from ${board.receiver.group}:${board.receiver.port}${page}`;
    const ordered = board.receiver.group && board.receiver.group !== '0.0.0.0';
    return (ordered ? `ordered to play ${board.receiver.group}:${board.receiver.port}` : 'plays no stream') + page;
  }
  return '';
}

function update(element, board, streams) {
  const at = (selector) => element.querySelector(selector);
  put(element, 'data-health', board.dark ? 'silent' : board.health);
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
  say(at('.why'), board.health === 'silent' ? board.error ?? '' : board.dark ? `${board.dark.finding}. ${board.dark.advice ?? ''}` : '');
  show(at('.stop'), canOrder() && Boolean(board.receiver?.plays_stream));
}

export function drawBoards(overview) {
  // Transmitters come first: what they send decides what receivers can play.
  const boards = [...overview.boards].sort((a, b) => b.role.localeCompare(a.role));
  keep(byId('board-rows'), boards, (board) => board.id, create, (element, board) => update(element, board, overview.streams));
  say(byId('boards-count'), boards.length ? String(boards.length) : '');
  show(byId('boards-nothing'), boards.length === 0);
}
