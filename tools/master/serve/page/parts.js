// What all parts of the page share: elements, formats, requests. Every text goes in as text, never as markup.

/** Describes an element. Attributes that begin with "on" are listeners; `id` or `data-key` tells it from its neighbours. */
export const make = (tag, attributes = {}, ...children) => ({tag, attributes, children});

function put(element, name, value) {
  if (name.startsWith('on')) element[name] = value;
  else if (name === 'style') Object.assign(element.style, value);
  else if (value === false || value == null) element.removeAttribute(name);
  else element.setAttribute(name, value === true ? '' : value);
}

function update(element, {attributes, children}) {
  for (const name of Object.keys({...element.described, ...attributes})) {
    if (element.described?.[name] !== attributes[name]) put(element, name, attributes[name]);
  }
  element.described = attributes;
  fill(element, children);
}

/**
 * Gives an element the content that is described: elements, texts, lists of them; what is empty or false is left out. Only
 * what differs from the description before is changed, so that focus, scrolling and pictures stay and nothing is read out again.
 */
export function fill(element, ...content) {
  if (!element.filled) element.replaceChildren();
  const known = element.filled ?? new Map(), wanted = new Map();
  for (const item of content.flat(Infinity).filter(Boolean)) {
    const kind = item.attributes?.id ?? item.attributes?.['data-key'] ?? item.tag;
    let key = kind;
    for (let count = 2; wanted.has(key); ++count) key = `${kind} ${count}`;
    const space = item.tag === 'svg' ? 'http://www.w3.org/2000/svg' : element.namespaceURI;
    const node = known.get(key) ?? (item.tag ? document.createElementNS(space, item.tag) : new Text());
    if (item.tag) update(node, item);
    else if (node.data !== String(item)) node.data = item;
    wanted.set(key, node);
  }
  for (const [key, node] of known) if (!wanted.has(key)) node.remove();
  let place = element.firstChild;
  for (const node of wanted.values()) {
    if (node === place) place = place.nextSibling;
    else element.insertBefore(node, place);
  }
  element.filled = wanted;
}

export const byId = (id) => document.getElementById(id);

/** Draws a part of the page: its list, how many there are, and a text instead where there are none. */
export function drawPart(name, list, count) {
  fill(byId(`${name}-list`), list);
  fill(byId(`${name}-count`), count);
  byId(`${name}-nothing`).hidden = list.length > 0;
}

export function rateParts(bits) {
  if (bits >= 1e6) return [(bits / 1e6).toFixed(2), 'Mbit/s'];
  if (bits >= 1e3) return [(bits / 1e3).toFixed(0), 'kbit/s'];
  return [bits.toFixed(0), 'bit/s'];
}

export function spanText(seconds) {
  if (seconds < 90) return `${Math.round(seconds)} s`;
  if (seconds < 5400) return `${Math.round(seconds / 60)} min`;
  return `${Math.round(seconds / 3600)} h`;
}

export const counted = (count, word) => `${count} ${word}${count === 1 ? '' : 's'}`;
export const programmesOf = (stream) => stream?.sources.flatMap((source) => source.programmes) ?? [];

/** "CINEMA", or "programme 1" where no channel list names it. */
export const programmeText = (number, programmes) =>
  programmes.find((item) => item.programme === number && item.name)?.name ?? `programme ${number}`;

/** A value of the browser's localStorage or sessionStorage, which may keep nothing. */
export function recall(storage, key) {
  try {
    return window[storage][key] ?? '';
  } catch {
    return '';
  }
}
export function remember(storage, key, value) {
  try {
    window[storage][key] = value;
  } catch { /* it lasts as long as the page */ }
}

let local = recall('localStorage', 'zone') === 'local';
export const isLocal = () => local;
export function setLocal(value) {
  local = value;
  remember('localStorage', 'zone', local ? 'local' : 'utc');
}

/** "19:30" of a moment in milliseconds. */
export function clockText(moment, withSeconds = false) {
  const offset = local ? new Date(moment).getTimezoneOffset() * 60000 : 0;
  return new Date(moment - offset).toISOString().slice(11, withSeconds ? 19 : 16);
}
export const dayText = (moment) => new Intl.DateTimeFormat('en-GB',
  {timeZone: local ? undefined : 'UTC', weekday: 'short', day: 'numeric', month: 'short'}).format(moment);

export async function getJson(path) {
  const answer = await fetch(path, {cache: 'no-store', signal: AbortSignal.timeout(10000)});
  if (!answer.ok) throw new Error(`${path}: ${answer.status}`);
  return answer.json();
}

const lists = new Map();  // path: {revision, rows}

/** The rows of a list, which is asked for again whenever its revision has changed. */
function rowsAt(path, revision, rowsOf) {
  const known = lists.get(path) ?? {rows: []};
  if (revision && known.revision !== revision) {
    const keep = (rows) => lists.set(path, {revision, rows});
    keep(known.rows);
    getJson(path).then(rowsOf).then(keep, () => lists.delete(path));  // the next round asks again
  }
  return known.rows;
}

/** The transmitters that have rows of a kind, "channels" or "guide", or a reason why these may be old. */
export function listsOf(overview, kind, rowsOf) {
  const boards = overview.boards.filter((board) => board.role === 'transmitter');
  return boards.map((board) => {
    const rows = rowsAt(`/api/${kind}?board=${encodeURIComponent(board.id)}`, board[`${kind}_revision`], rowsOf);
    const why = board[`${kind}_error`];
    const head = [boards.length > 1 && make('h3', {}, board.name), why && make('p', {class: 'why warn'}, why)];
    return {board, head, why, rows};
  }).filter(({rows, why}) => rows.length || why);
}

let toastTimer = 0;
export function toast(text, bad = false) {
  const element = byId('toast');
  fill(element, text);
  element.className = bad ? 'bad' : '';
  element.hidden = false;
  clearTimeout(toastTimer);
  toastTimer = setTimeout(() => { element.hidden = true; }, bad ? 12000 : 6000);
}

/** Opens the dialog. `done` gets the form's fields when the main button is pressed. */
export function openDialog(title, content, mainText = '', done = () => {}) {
  const dialog = byId('dialog'), form = byId('dialog-form');
  fill(form);  // no field keeps what was in it
  fill(form, make('h3', {id: 'dialog-title'}, title), content, make('div', {class: 'buttons'},
    // Enter in a field presses a form's first submit button, which is to be the main one.
    make('button', {type: 'button', onclick: () => dialog.close()}, mainText ? 'Cancel' : 'Close'),
    mainText && make('button', {value: 'do', class: 'main'}, mainText)));
  dialog.returnValue = '';
  dialog.onclose = () => {
    if (dialog.returnValue === 'do') done(Object.fromEntries(new FormData(form)));
  };
  dialog.showModal();
}
