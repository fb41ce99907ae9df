// The status page: asks for the overview once a second, draws what changed, and hides what the filter doesn't name.
import {byId, clockText, counted, fill, getJson, isLocal, make, setLocal} from './parts.js';
import {drawBoards} from './boards.js';
import {drawStreams, nameOf} from './streams.js';
import {drawChannels} from './channels.js';
import {broadcastNow, drawGuides} from './guide.js';
import {setTaken} from './orders.js';

const kNamed = 6;  // of those with the same trouble, in the head
let last = null;
let failures = 0;

/** What is wrong, the worst first: a kind, and the boards or streams that have it. */
function troublesOf({boards, streams}) {
  const faulty = streams.filter((stream) => stream.health === 'faulty' && stream.senders.length < 2);
  return [
    ['no answer', boards.filter((board) => board.health === 'silent')],
    ['nothing comes', streams.filter((stream) => stream.health === 'silent')],
    ['dark', boards.filter((board) => board.health !== 'silent' && board.dark)],
    ['not as planned', boards.filter((board) => board.plan?.as_planned === false)],
    ['several senders', streams.filter((stream) => stream.senders.length > 1)],
    ['loses packets', faulty.filter((stream) => stream.recent_errors)],
    ['faulty', faulty.filter((stream) => !stream.recent_errors)],
  ].filter(([, items]) => items.length);
}

const named = (item) => item.name ?? nameOf(item)[0];

function describeTrouble([kind, items]) {
  const link = (item) => make('a', {'data-key': item.id ?? item.stream, href: `#${item.id ?? item.stream}`}, named(item));
  return make('li', {'data-key': kind}, `${kind}: `, make('span', {}, items.slice(0, kNamed).map(link)),
    make('small', {}, items.length > kNamed && ` and ${items.length - kNamed} more`));
}

function drawVerdict() {
  const lost = failures > 2;
  const troubles = lost || !last ? [] : troublesOf(last);
  const count = troubles.reduce((sum, [, items]) => sum + items.length, 0);
  const waiting = !last || (!last.boards.length && !last.streams.length);
  const slow = last?.boards.filter((board) => board.health === 'waiting' || board.health === 'busy').length ?? 0;
  document.body.dataset.state = lost ? 'bad' : waiting ? 'waiting' : count ? 'bad' : slow ? 'warn' : 'good';
  document.body.classList.toggle('lost', lost);
  fill(byId('verdict'), lost ? 'The status service doesn’t answer' : waiting ? 'Waiting for boards'
    : count ? counted(count, 'trouble') : 'All is well');
  fill(byId('troubles'), troubles.map(describeTrouble));
  const title = count ? `▲ ${named(troubles[0][1][0])}: ${troubles[0][0]}` : 'Television on the network';
  if (document.title !== title) document.title = title;
}

function drawClock() {
  const board = last?.boards.find((item) => item.broadcast_time);
  fill(byId('clock'), last ? clockText(broadcastNow(board), true) : '');
  fill(byId('zone'), isLocal() ? 'here' : 'UTC');
}

function filter() {
  const wanted = byId('filter').value.trim().toLowerCase();
  for (const item of document.querySelectorAll('.stream, .board, .channels tbody tr, .guide .line')) {
    const texts = [...item.querySelectorAll('.name, .where, .badge, .role, .state, .what, .label, .event, td')].map((part) => part.textContent);
    item.hidden = !texts.join(' ').toLowerCase().includes(wanted);
  }
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
  filter();
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
byId('filter').addEventListener('input', filter);
byId('streams-nothing').hidden = true;
round();
