// The channel list of each transmitter.
import {byId, follow, keep, make, say, sayHead, show} from './parts.js';
import {askWhereToSend, canOrder} from './orders.js';

const lists = new Map();  // board id: {revision, rows}

function create(board) {
  const head = (text, style = '') => make('th', {scope: 'col', class: style}, text);
  return make('div', {class: 'channels', tabindex: 0, role: 'region', 'aria-label': `channels of ${board.name}`},
    make('h3', {}), make('p', {class: 'why warn'}),
    make('table', {}, make('thead', {}, make('tr', {}, head('No.'), head('Name'), head('Tuner', 'number'), head('Signal', 'number'), head(''))), make('tbody', {})));
}

function createRow(channel, board) {
  const what = [channel.video_type ? '' : 'no video', channel.scrambled ? 'scrambled' : ''].filter(Boolean).join(', ');
  return make('tr', {},
    make('td', {}, channel.number ?? ''),
    make('td', {class: 'name'}, channel.name || '—', make('small', {}, what)),
    make('td', {class: 'number'}, String(channel.tuner_channel)),
    make('td', {class: `number ${channel.signal_percent < 60 ? 'warn' : ''}`}, `${channel.signal_percent} %`),
    make('td', {class: 'number'}, make('button', {type: 'button', class: 'send', onclick: () => askWhereToSend(channel, board)}, 'Send…')));
}

function update(element, board, several) {
  sayHead(element, board.name, several, board.channels_error);
  const channels = lists.get(board.id)?.rows ?? [];
  show(element.querySelector('table'), channels.length > 0);
  keep(element.querySelector('tbody'), channels, (channel) => JSON.stringify(channel), (channel) => createRow(channel, board), (row, channel) => {
    row.className = board.scan?.channel === channel.tuner_channel ? 'tuned' : '';
    show(row.querySelector('.send'), canOrder());
  });
}

export function drawChannels(overview) {
  const boards = overview.boards.filter((board) => board.role === 'transmitter');
  for (const board of boards) follow(lists, board, board.channels_revision, '/api/channels', ({channels}) => channels);
  const shown = boards.filter((board) => lists.get(board.id)?.rows.length || board.channels_error);
  keep(byId('channel-lists'), shown, (board) => board.id, create, (element, board) => update(element, board, boards.length > 1));
  const count = shown.reduce((sum, board) => sum + (lists.get(board.id)?.rows.length ?? 0), 0);
  say(byId('channels-count'), count ? String(count) : '');
  show(byId('channels-nothing'), shown.length === 0);
}
