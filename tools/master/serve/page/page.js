// The status page: asks for the overview once a second and draws what changed.
import {byId, clockText, counted, getJson, isLocal, keep, make, put, say, setLocal, show} from './parts.js';
import {drawBoards} from './boards.js';
import {drawStreams, troublesOf} from './streams.js';
import {drawChannels} from './channels.js';
import {broadcastNow, drawGuides} from './guide.js';
import {setTaken} from './orders.js';

let last = null;
let failures = 0;

function drawVerdict() {
  const lost = failures > 2;
  const troubles = lost || !last ? [] : troublesOf(last);
  const waiting = !last || (!last.boards.length && !last.streams.length);
  const slow = last?.boards.filter((board) => board.health === 'waiting' || board.health === 'busy').length ?? 0;
  put(document.body, 'data-state', lost ? 'bad' : waiting ? 'waiting' : troubles.length ? 'bad' : slow ? 'warn' : 'good');
  document.body.classList.toggle('lost', lost);
  say(byId('verdict'), lost ? 'The status service doesn’t answer' : waiting ? 'Waiting for boards'
    : troubles.length ? counted(troubles.length, 'trouble') : 'All is well');
  keep(byId('troubles'), troubles.slice(0, 6), (text) => text, (text) => make('li', {}, text), () => {});
  const title = troubles.length ? `▲ ${troubles[0]}` : 'Television on the network';
  if (document.title !== title) document.title = title;
}

function drawClock() {
  const board = last?.boards.find((item) => item.broadcast_time);
  say(byId('clock'), last ? clockText(broadcastNow(board), true) : '');
  say(byId('zone'), isLocal() ? 'here' : 'UTC');
}

function draw() {
  drawVerdict();
  drawClock();
  if (!last) return;
  setTaken(last.takes_orders);
  drawStreams(last);
  drawBoards(last);
  drawGuides(last);
  drawChannels(last);
}

async function round() {
  const began = performance.now();
  try {
    last = await getJson('/api/overview');
    failures = 0;
  } catch {
    ++failures;
  }
  draw();
  const pause = document.hidden ? 10000 : 1000;
  setTimeout(round, Math.max(250, pause - (performance.now() - began)));
}

byId('zone').addEventListener('click', () => {
  setLocal(!isLocal());
  draw();
});
show(byId('streams-nothing'), false);
round();
