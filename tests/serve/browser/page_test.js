// page_test.js BUILD STREAM: the status page in a browser, with a transmitter, a receiver, and names that are markup.
import assert from 'node:assert/strict';
import {spawn} from 'node:child_process';
import {mkdtempSync, rmSync} from 'node:fs';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {chromium} from 'playwright-core';

const [build, stream] = process.argv.slice(2);
const at = '127.0.0.1:8410', group = '239.1.1.1:5000', zulctl = `${build}/tools/master/zulctl`, running = [];
process.env.HOME = mkdtempSync(join(tmpdir(), 'zulctl-page-'));
process.env.ZULCTL_CONFIG = '/dev/null';

function start(command, ...args) {
  const child = spawn(command, args);
  const program = {child, said: '', ended: new Promise((done) => { child.on('exit', done); })};
  for (const pipe of [child.stdout, child.stderr]) pipe.on('data', (bytes) => { program.said += bytes; });
  running.push(program);
  return program;
}

/** A board whose module's own waits are a third as long. */
const board = (number, role, ...args) => start('env', 'ZUL_FAST_CLOCK=3', 'on', number, `${build}/tools/board/zul-board`,
  '--role', role, '--module', `${build}/tests/libzul_fast.so`, ...args);

/** Waits for a condition, long enough for a slow machine. */
async function until(what, test) {
  for (const end = Date.now() + 90000; Date.now() < end;) {
    const result = await test();
    if (result) return result;
    await new Promise((done) => { setTimeout(done, 100); });
  }
  throw new Error(`not within 90 s: ${what}`);
}

/** Adds markup to all that a board, a stream or a file names or says. */
function withMarkup(json) {
  const named = /^(name|number|title|text|version|tuner_mode|.*error|language)$/;
  return JSON.parse(json, (key, value) => {
    if (key === 'faults') return value.map((fault) => `${fault}<s>`);
    return named.test(key) && typeof value === 'string' ? `${value}<s>` : value;
  });
}

/** A wall of thirty streams and twelve boards like the first; the last ones are in trouble. */
function asWall(json) {
  const all = JSON.parse(json);
  if (!all.streams) return all;
  const copies = (count, make) => Array.from({length: count}, (_, n) => make(n));
  const [stream] = all.streams, [board] = all.boards, differences = ['slot 3 sends nothing'];
  const programme = {...stream.sources[0].programmes[0], name: 'A RATHER LONG NAME OF A CHANNEL'};
  all.streams = copies(30, (n) => (n ? {...stream, stream: `239.1.2.${n}:5000`, sources: [{...stream.sources[0], programmes: [programme]}],
    ...(n > 27 ? {health: 'silent', silent_seconds: 4000, faults: [`the PMT of programme ${programme.programme} never came`]} : {})} : stream));
  all.boards = copies(12, (n) => (n ? {...board, id: `10.0.1.${n}:5000`, name: `the-presidential-suite-${n}`, channels_revision: 0,
    guide_revision: 0, plan: n > 10 ? {as_planned: false, paused: false, differences} : null} : board));
  return all;
}

/** The wall's cards fit, its troubles lead to theirs, and the filter leaves what it names. */
async function judgeWall(page) {
  const spilt = () => page.evaluate(() => [...document.querySelectorAll(':is(.stream, .board) :is(p, span, li)')].filter((part) =>
    part.getBoundingClientRect().right > part.closest('.stream, .board').getBoundingClientRect().right).map((part) => part.textContent));
  const shown = () => page.locator('.stream:visible, .board:visible').count();
  await page.setViewportSize({width: 1920, height: 1080});
  await page.locator('.stream').nth(29).waitFor();
  const lowest = await page.evaluate(() => Math.max(...[...document.querySelectorAll('.stream')].map((card) => card.getBoundingClientRect().bottom)));
  assert.ok(lowest <= 1080, `thirty streams end at ${lowest} of 1080 pixels`);
  await page.locator('.board', {hasText: 'slot 3 sends nothing'}).and(page.locator('.board:first-child[data-health="silent"]')).waitFor();
  await page.setViewportSize({width: 390, height: 844});
  assert.deepEqual(await spilt(), []);
  assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth), 'it fits a telephone');
  await page.locator('#troubles li', {hasText: 'nothing comes'}).getByRole('link').nth(1).click();
  await page.locator('.stream:focus', {hasText: '239.1.2.29:5000'}).getByText('the PMT of A RATHER').waitFor();
  await page.getByRole('searchbox').fill('a rather');
  await until('the filter leaves the cards of that name', async () => await shown() === 29);
  await page.getByRole('searchbox').fill('');
  await until('the filter hides nothing', async () => await shown() === 42);
}

async function open(browser, address, change = withMarkup) {
  const page = await (await browser.newContext({reducedMotion: 'reduce'})).newPage();
  const seen = {requests: [], complaints: []};
  page.setDefaultTimeout(90000);
  page.on('request', (request) => seen.requests.push(request.url()));
  page.on('pageerror', (error) => seen.complaints.push(String(error)));
  page.on('console', (line) => { if (['error', 'warning'].includes(line.type())) seen.complaints.push(line.text()); });
  await page.route(/api\/(overview|channels|guide)/, async (route) => {
    try {
      const response = await route.fetch();
      await route.fulfill({response, json: change(await response.text())});
    } catch {
      await route.abort().catch(() => {});  // the service or the page has ended
    }
  });
  await page.goto(address);
  return {page, seen};
}

/** Answers the dialog that a button opens. */
async function order(page, place, button, fields, answer) {
  await place.getByRole('button', {name: button}).first().click();
  await page.locator('dialog', {hasText: '<s>'}).waitFor();
  for (const [label, value] of Object.entries(fields)) await page.getByLabel(label, {exact: true}).fill(value);
  assert.equal(await page.locator('s').count(), 0, 'names in a dialog are text');
  await page.getByRole('button', {name: answer, exact: true}).click();
}

async function story(browser) {
  const transmitter = board('1', 'T', '--channel', `2=${stream}:5`);
  board('2', 'R');
  const service = start(zulctl, 'serve', '--listen', at, '--control', '--pictures', '3');
  const token = await until('the service starts', () => /#token=(\w+)/.exec(service.said)?.[1]);
  await until('the transmitter is scanned', async () => await start(zulctl, '-b', '10.0.0.1', 'scan', '--only', '2').ended === 0);

  const {page, seen} = await open(browser, `http://${at}/#token=${token}`);
  assert.equal(await page.evaluate(() => location.hash), '', 'the token goes out of sight');
  await order(page, page.locator('#channels tr', {hasText: 'ONE<s>'}), 'Send…', {to: group}, 'Send');
  const card = page.locator('.stream', {hasText: 'ONE<s>'});
  await card.and(page.locator('[data-health="good"]')).waitFor();
  await until('a picture', () => card.locator('img').evaluate((image) => image.naturalWidth > 100));
  await page.locator('body[data-state="good"]').waitFor();
  await order(page, card, 'Play on…', {}, 'Play');
  await page.locator('.board .what', {hasText: `plays ONE<s> from ${group}`}).waitFor();
  await page.locator('.guide .event', {hasText: 'News<s>'}).first().click();
  await page.locator('dialog', {hasText: 'and why.<s>'}).waitFor();
  await page.keyboard.press('Escape');

  const stranger = (await open(browser, `http://${at}/`, asWall)).page;
  await judgeWall(stranger);
  assert.equal(await stranger.getByRole('button', {name: /Send|Play|Stop/}).count(), 0, 'no token, no buttons');
  transmitter.child.kill();
  await page.locator('#troubles', {hasText: 'nothing comes: ONE<s>'}).waitFor();
  assert.equal(await page.locator('s').count(), 0, 'names are text');
  assert.deepEqual(seen.complaints, []);
  assert.deepEqual(seen.requests.filter((url) => new URL(url).host !== at), [], 'nothing leaves the host');
}

const browser = await chromium.launch({executablePath: '/usr/bin/chromium', chromiumSandbox: false, timeout: 90000,
  args: ['--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking', '--disable-dev-shm-usage']});
try {
  await story(browser);
} catch (error) {
  console.error(error, ...running.map(({child, said}) => `\n--- ${child.spawnargs.join(' ')}\n${said.slice(-1500)}`));
  process.exitCode = 1;
} finally {
  for (const {child} of running) child.kill();
  await browser.close();
  rmSync(process.env.HOME, {recursive: true, force: true});
}
