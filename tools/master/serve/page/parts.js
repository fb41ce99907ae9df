// What all parts of the page share: elements, formats, requests. Every text goes in as text, never as markup.

/** Makes an element. Attributes that begin with "on" are listeners. */
export function make(tag, attributes = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (name.startsWith('on')) element.addEventListener(name.slice(2), value);
    else if (value === true) element.setAttribute(name, '');
    else if (value !== false && value != null) element.setAttribute(name, value);
  }
  element.append(...children);
  return element;
}

export function makeSvg(tag, attributes = {}) {
  const element = document.createElementNS('http://www.w3.org/2000/svg', tag);
  for (const [name, value] of Object.entries(attributes)) element.setAttribute(name, value);
  return element;
}

export const byId = (id) => document.getElementById(id);

/** Changes a text only where it differs, so that nothing is drawn or read out again. */
export function say(element, text) {
  if (element.textContent !== text) element.textContent = text;
}

export function show(element, whether) {
  if (element.hidden === whether) element.hidden = !whether;
}

/** The name over a board's list where there are several, and why it may be old. */
export function sayHead(element, name, several, why) {
  for (const [selector, text, shown] of [['h3', name, several], ['.why', why ?? '', Boolean(why)]]) {
    say(element.querySelector(selector), text);
    show(element.querySelector(selector), shown);
  }
}

export function put(element, name, value) {
  if (element.getAttribute(name) !== String(value)) element.setAttribute(name, value);
}

/** Keeps one child for each item, in their order: new ones are made, others are updated, and those left are removed. */
export function keep(container, items, keyOf, create, update) {
  const known = new Map([...container.children].map((child) => [child.dataset.key, child]));
  items.forEach((item, index) => {
    const key = keyOf(item);
    let child = known.get(key);
    if (child) known.delete(key);
    else {
      child = create(item);
      child.dataset.key = key;
    }
    if (container.children[index] !== child) container.insertBefore(child, container.children[index] ?? null);
    update(child, item);
  });
  for (const child of known.values()) child.remove();
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

let local = false;
try {
  local = localStorage.getItem('zone') === 'local';
} catch { /* a browser may keep nothing */ }

export const isLocal = () => local;
export function setLocal(value) {
  local = value;
  try {
    localStorage.setItem('zone', local ? 'local' : 'utc');
  } catch { /* as above */ }
}

const timeText = (moment, options) =>
  new Intl.DateTimeFormat('en-GB', {timeZone: local ? undefined : 'UTC', ...options}).format(moment);

/** "19:30" of a moment in milliseconds. */
export const clockText = (moment, withSeconds = false) =>
  timeText(moment, {hour: '2-digit', minute: '2-digit', second: withSeconds ? '2-digit' : undefined, hourCycle: 'h23'});
export const dayText = (moment) => timeText(moment, {weekday: 'short', day: 'numeric', month: 'short'});

export async function getJson(path) {
  const answer = await fetch(path, {cache: 'no-store', signal: AbortSignal.timeout(10000)});
  if (!answer.ok) throw new Error(`${path}: ${answer.status}`);
  return answer.json();
}

/** Keeps a board's rows in `lists`, by its id, and asks for them again whenever their revision has changed. */
export async function follow(lists, board, revision, path, rowsOf) {
  const known = lists.get(board.id);
  if (!revision || known?.revision === revision) return;
  lists.set(board.id, {revision, rows: known?.rows ?? []});
  try {
    lists.set(board.id, {revision, rows: rowsOf(await getJson(`${path}?board=${encodeURIComponent(board.id)}`))});
  } catch {
    lists.delete(board.id);  // the next round asks again
  }
}

let toastTimer = 0;
export function toast(text, bad = false) {
  const element = byId('toast');
  say(element, text);
  element.className = bad ? 'bad' : '';
  element.hidden = false;
  clearTimeout(toastTimer);
  toastTimer = setTimeout(() => { element.hidden = true; }, bad ? 12000 : 6000);
}

/** Opens the dialog. `done` gets the form's fields when the main button is pressed. */
export function openDialog(title, content, mainText = '', done = () => {}) {
  const dialog = byId('dialog'), form = byId('dialog-form');
  const buttons = make('div', {class: 'buttons'}, make('button', {value: 'cancel', formnovalidate: true}, mainText ? 'Cancel' : 'Close'));
  if (mainText) buttons.append(make('button', {value: 'do', class: 'main'}, mainText));
  form.replaceChildren(make('h3', {id: 'dialog-title'}, title), ...content, buttons);
  // Enter in a field presses a form's first button, which is to be the main one.
  form.onkeydown = (event) => {
    if (event.key !== 'Enter' || !mainText || event.target.tagName !== 'INPUT') return;
    event.preventDefault();
    if (form.reportValidity()) dialog.close('do');
  };
  dialog.returnValue = '';
  dialog.onclose = () => {
    if (dialog.returnValue === 'do') done(Object.fromEntries(new FormData(form)));
  };
  dialog.showModal();
}
