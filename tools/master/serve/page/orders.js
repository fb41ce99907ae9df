// Orders, for whoever has the token: from the address, after #, or typed in. It stays in this tab.
import {byId, make, openDialog, programmesOf, programmeText, recall, remember, toast} from './parts.js';

let token = recall('sessionStorage', 'token');
let taken = false;  // the service takes orders

function setToken(value) {
  token = value;
  remember('sessionStorage', 'token', value);
}

const given = /^#token=([\w-]+)$/.exec(location.hash);
if (given) {
  setToken(given[1]);
  history.replaceState(null, '', location.pathname);  // hides the token from onlookers
}

export const canOrder = () => taken && token !== '';

export function setTaken(value) {
  taken = value;
  byId('unlock').hidden = !taken || token !== '';
}

byId('unlock').addEventListener('click', () => {
  openDialog('Token', [
    make('p', {class: 'soft'}, 'It is in the address that zulctl serve printed, or in its token file.'),
    label('token', make('input', {name: 'token', type: 'password', required: true, autocomplete: 'off'})),
  ], 'Use it', (fields) => { setToken(fields.token.trim()); });
});

async function order(path, body, doing, done) {
  toast(`${doing}…`);
  document.body.setAttribute('aria-busy', 'true');
  try {
    const answer = await fetch(path, {
      method: 'POST', body: JSON.stringify(body), headers: {'Content-Type': 'application/json', 'X-Zulctl-Token': token},
    });
    const told = await answer.json();
    if (answer.status === 403) setToken('');
    toast(answer.ok ? done(told) : told.error, !answer.ok);
  } catch {
    toast('The service doesn’t answer.', true);
  }
  document.body.removeAttribute('aria-busy');
}

const label = (name, field) => make('label', {}, name, field);
const pick = (name, options) => label(name, make('select', {name}, options.map(([value, text]) => make('option', {value}, text))));
const numberOf = (field) => (field === '' ? null : Number(field));

export function stopPlaying(board) {
  order('/api/play/stop', {board}, 'stopping', () => 'stopped');
}

export function askWhereToPlay(stream, overview) {
  const receivers = overview.boards.filter((board) => board.role === 'receiver');
  const programmes = programmesOf(stream);
  if (!receivers.length) return toast('No receiver is known.', true);
  openDialog(`Play ${stream.stream}`, [
    pick('receiver', receivers.map((board) => [board.id, board.name])),
    pick('programme', [['', 'the first'], ...programmes.map(({programme}) => [programme, programmeText(programme, programmes)])]),
  ], 'Play', (fields) => order('/api/play', {
    board: fields.receiver, stream: stream.stream, programme: numberOf(fields.programme),
  }, 'playing', () => `plays ${stream.stream}`));
}

export function confirmStop(stream, name) {
  const {board, slot} = stream.sources[0];
  openDialog(`Stop ${name}?`, [make('p', {}, `Slot ${slot} of ${board} stops${slot === 0 ? '' : ', and slot 0 with it'}.`)], 'Stop', () =>
    order('/api/stream/stop', {board, slot}, 'stopping', () => 'stopped'));
}

export function askWhereToSend(channel, board) {
  const hex = (number) => number.toString(16).padStart(4, '0');
  openDialog(`Send ${channel.name}`, [
    label('to', make('input', {name: 'to', required: true, placeholder: '239.1.1.1:5000', pattern: '[0-9.]+:[0-9]+',
      title: 'GROUP:PORT', autocomplete: 'off'})),
    pick('slot', [['', 'a free one'], ...[...Array(8).keys()].map((slot) => [slot, String(slot)])]),
    make('p', {class: 'soft'}, 'All streams of a board come from one tuner channel. Starting any slot stops slot 0.'),
  ], 'Send', (fields) => order('/api/stream/start', {
    board: board.id, to: fields.to, slot: numberOf(fields.slot),
    channels: [`${hex(channel.transport_stream_id)}:${hex(channel.programme)}`],
  }, 'tuning and starting, some 11 s', (told) => `sends ${channel.name} to ${told.group}:${told.port}`));
}
