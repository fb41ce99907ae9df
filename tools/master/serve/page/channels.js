// The channel list of each transmitter.
import {drawPart, listsOf, make} from './parts.js';
import {askWhereToSend, canOrder} from './orders.js';

function describeRow(channel, board) {
  const what = [channel.video_type ? '' : 'no video', channel.scrambled ? 'scrambled' : ''].filter(Boolean).join(', ');
  return make('tr', {class: board.scan?.channel === channel.tuner_channel && 'tuned'},
    make('td', {}, channel.number),
    make('td', {class: 'name'}, channel.name || '—', make('small', {}, what)),
    make('td', {class: 'number'}, channel.tuner_channel),
    make('td', {class: `number ${channel.signal_percent < 60 ? 'warn' : ''}`}, `${channel.signal_percent} %`),
    make('td', {class: 'number'}, canOrder() &&
      make('button', {type: 'button', class: 'send', onclick: () => askWhereToSend(channel, board)}, 'Send…')));
}

function describe({board, head, rows}) {
  const title = (text, style) => make('th', {scope: 'col', class: style}, text);
  return make('div', {class: 'channels', 'data-key': board.id, tabindex: 0, role: 'region', 'aria-label': `channels of ${board.name}`}, head,
    rows.length > 0 && make('table', {},
      make('thead', {}, make('tr', {}, title('No.'), title('Name'), title('Tuner', 'number'), title('Signal', 'number'), title(''))),
      make('tbody', {}, rows.map((channel) => describeRow(channel, board)))));
}

export function drawChannels(overview) {
  const lists = listsOf(overview, 'channels', ({channels}) => channels);
  drawPart('channels', lists.map(describe), lists.reduce((sum, {rows}) => sum + rows.length, 0));
}
