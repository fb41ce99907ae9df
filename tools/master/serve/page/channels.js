// The channel list of each transmitter.
import {byId, getJson, keep, make, say, show} from './parts.js';
import {askWhereToSend, canOrder} from './orders.js';

const lists = new Map();  // board id: {revision, channels}

export async function fetchChannels(board) {
  const known = lists.get(board.id);
  if (!board.channels_revision || known?.revision === board.channels_revision) return;
  lists.set(board.id, {revision: board.channels_revision, channels: known?.channels ?? []});
  try {
    const {channels} = await getJson(`/api/channels?board=${encodeURIComponent(board.id)}`);
    lists.set(board.id, {revision: board.channels_revision, channels});
  } catch {
    lists.delete(board.id);  // the next round asks again
  }
}

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
  say(element.querySelector('h3'), board.name);
  show(element.querySelector('h3'), several);
  say(element.querySelector('.why'), board.channels_error ?? '');
  show(element.querySelector('.why'), Boolean(board.channels_error));
  const channels = lists.get(board.id)?.channels ?? [];
  show(element.querySelector('table'), channels.length > 0);
  keep(element.querySelector('tbody'), channels, (channel) => JSON.stringify(channel), (channel) => createRow(channel, board), (row, channel) => {
    row.className = board.scan?.channel === channel.tuner_channel ? 'tuned' : '';
    show(row.querySelector('.send'), canOrder());
  });
}

export function drawChannels(overview) {
  const boards = overview.boards.filter((board) => board.role === 'transmitter');
  for (const board of boards) fetchChannels(board);
  const shown = boards.filter((board) => lists.get(board.id)?.channels.length || board.channels_error);
  keep(byId('channel-lists'), shown, (board) => board.id, create, (element, board) => update(element, board, boards.length > 1));
  const count = shown.reduce((sum, board) => sum + (lists.get(board.id)?.channels.length ?? 0), 0);
  say(byId('channels-count'), count ? String(count) : '');
  show(byId('channels-nothing'), shown.length === 0);
}
