// page_test.js BUILD OUT: an operator's hour at the status page, in a minute.
import assert from 'node:assert/strict';
import {mkdtempSync, rmSync} from 'node:fs';
import {connect} from 'node:net';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {chromium} from 'playwright-core';
import {endAll, lastWords, losePackets, start, until} from './machines.js';

const [build, out] = process.argv.slice(2);
const at = '127.0.0.1:8410', group = '239.1.1.1:5000';
const hostile = '<img src=x onerror="document.title=\'owned\'">';
const zulctl = `${build}/tools/master/zulctl`;
const seconds = () => (performance.now() / 1000).toFixed(1).padStart(5);
const cinema = (page) => page.locator('.stream', {has: page.locator('.name', {hasText: 'CINEMA'})});
const tell = (what) => console.log(`${seconds()} s  ${what}`);

/** A board whose module's own waits are a third as long. */
function board(number, role, ...args) {
  return start(`board ${number}`, 'on', [number, `${build}/tools/board/zul-board`, '--role', role,
    '--module', `${build}/tests/libzul_fast.so`, '--module-log', `${out}/board${number}.log`, ...args], {ZUL_FAST_CLOCK: '3'});
}

async function scan() {
  const scanning = start('scan', zulctl, ['--board', '10.0.0.1', 'scan']);
  await until('channel 2 is scanned', () => /^channel +2/m.test(scanning.said));
  scanning.child.kill('SIGINT');
  await until('the scan ends', () => scanning.ended !== undefined);
}

function openBrowser() {
  const flags = ['--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking', '--disable-component-update',
    '--disable-sync', '--disable-dev-shm-usage'];
  return chromium.launch({executablePath: '/usr/bin/chromium', args: flags, chromiumSandbox: false, timeout: 90000});
}

/** A page whose every request and complaint is written down. */
async function watched(browser, options) {
  const context = await browser.newContext(options);
  context.setDefaultTimeout(90000);
  const page = await context.newPage();
  const seen = {requests: [], complaints: []};
  page.on('request', (request) => seen.requests.push(request.url()));
  page.on('pageerror', (error) => seen.complaints.push(String(error)));
  page.on('console', (message) => {
    if (['error', 'warning'].includes(message.type())) seen.complaints.push(message.text());
  });
  page.on('popup', () => seen.complaints.push('a popup'));
  return {page, seen, context};
}

/** Nothing on the page is wider than the window. */
async function fits(page) {
  const [needed, there] = await page.evaluate(() => [document.documentElement.scrollWidth, innerWidth]);
  assert.ok(needed <= there, `the page needs ${needed} pixels and has ${there}`);
}

async function sends(page, channel, to, slot) {
  await page.locator('#channels tr', {hasText: channel}).getByRole('button', {name: 'Send…'}).click();
  await page.getByLabel('to', {exact: true}).fill(to);
  await page.getByLabel('slot').selectOption(slot);
  await page.getByRole('button', {name: 'Send', exact: true}).click();
  await page.locator('.stream .name', {hasText: channel}).waitFor();
}

async function ordersStreams(page) {
  await sends(page, 'CINEMA', group, '1');
  await sends(page, 'NEWS', '239.1.1.2:5000', '2');
  tell('streams that were started here are shown');
  await cinema(page).getByRole('button', {name: 'Play on…'}).click();
  await page.getByRole('button', {name: 'Play', exact: true}).click();
  await cinema(page).locator('.foot', {hasText: 'plays on 10.0.0.2'}).waitFor();
  await page.locator('.board .what', {hasText: `plays CINEMA (2.1) from ${group}`}).waitFor();
  tell('the receiver plays one');
}

async function showsTheGuide(page) {
  await page.locator('.guide .event', {hasText: hostile}).waitFor();
  await page.locator('.guide .event.on', {hasText: 'Journey into the Fractal'}).waitFor();
  await page.locator('.channels .name', {hasText: '<b>EVIL'}).waitFor();
  assert.equal(await page.locator('.guide img, .channels b').count(), 0, 'texts from the air are texts');
  const scroller = page.locator('.guide .scroller');
  await scroller.focus();
  const place = () => scroller.evaluate((element) => element.scrollLeft);
  const before = await place();
  await until('the guide scrolls', async () => {
    await page.keyboard.press('ArrowRight');
    return await place() > before + 100;
  });
  // From the grid to an event, from there by arrows, and into its details and out again.
  await page.keyboard.press('Tab');
  const focused = () => page.evaluate(() => document.activeElement.textContent);
  assert.match(await focused(), /Journey into the Fractal/);
  await page.keyboard.press('ArrowRight');
  assert.match(await focused(), /The Long Way Home/);
  await page.keyboard.press('ArrowLeft');
  await page.keyboard.press('Enter');
  await page.locator('dialog', {hasText: 'A voyage to the edge of the set'}).waitFor();
  await page.keyboard.press('Escape');
  await page.locator('dialog').waitFor({state: 'hidden'});
  tell('the guide scrolls and is read by keyboard');
}

async function showsItsState(page) {
  await until('still pictures are shown', () => page.locator('.stream img').evaluateAll((images) =>
    images.length === 2 && images.every((image) => image.naturalWidth > 100)));
  assert.ok((await cinema(page).locator('.plot .edge').getAttribute('d')).length > 20, 'the plot has a line');
  await until('both streams are good', async () => await page.locator('.stream[data-health="good"]').count() === 2);
  await page.locator('body[data-state="good"]').waitFor();
  tell('all is well, with pictures');
  await page.screenshot({path: `${out}/wall.png`});
  await page.emulateMedia({colorScheme: 'dark'});
  await page.screenshot({path: `${out}/wall-dark.png`});
  await page.emulateMedia({colorScheme: 'light'});
  await fits(page);
  await page.setViewportSize({width: 390, height: 844});
  await page.screenshot({path: `${out}/phone.png`, fullPage: true});
  await fits(page);
  await page.setViewportSize({width: 1600, height: 900});
}

/** Asks for the page with half a request, until the service has enough of it. */
function stall() {
  return new Promise((closed) => {
    const socket = connect(8410, '127.0.0.1', () => socket.write('GET / HTTP/1.1\r\nHost: local'));
    socket.on('error', closed).on('close', closed).resume();
  });
}

async function servesACrowd() {
  await until('a stream is good beside 200 clients', async () => {
    const probe = start('probe', zulctl, ['probe', group, '--for', '4s']);
    await Promise.all(Array.from({length: 200}, async (_, number) => {
      while (probe.ended === undefined) {
        if (number % 10) assert.equal((await fetch(`http://${at}/api/overview`)).status, 200);
        else await stall();
        await new Promise((done) => { setTimeout(done, 250); });
      }
    }));
    return probe.ended === 0;
  });
  tell('200 clients disturb no stream');
}

async function turnsRed(page, transmitter) {
  losePackets(`${out}/wall.ts`, `${out}/lossy.ts`);
  transmitter.child.stdin.write(`signal 2 ${out}/lossy.ts 5\n`);
  await page.locator('.stream[data-health="faulty"] .badge', {hasText: 'loses packets'}).first().waitFor();
  await page.locator('#troubles', {hasText: 'CINEMA loses packets'}).waitFor();
  const isRed = () => page.locator('header').evaluate((header) => {
    const [red, green, blue] = getComputedStyle(header).backgroundColor.match(/\d+/g).map(Number);
    return red > 150 && green < 100 && blue < 100;
  });
  await until('the head of the page is red', isRed);
  await until('the plot has error bars', async () => (await cinema(page).locator('.plot .errors').getAttribute('d')).length > 10);
  tell('a stream that loses packets turns red');
  await page.screenshot({path: `${out}/trouble.png`});
}

async function showsAStrangerNoButtons(browser) {
  const {page, context} = await watched(browser, {});
  await page.goto(`http://${at}/`);
  await page.locator('.stream').first().waitFor();
  await page.locator('#unlock').waitFor();
  assert.equal(await page.getByRole('button', {name: /Send|Play|Stop/}).count(), 0);
  await context.close();
  tell('who has no token has no buttons');
}

async function story(browser) {
  const transmitter = board('1', 'T', '--channel', `2=${out}/wall.ts:5`);
  board('2', 'R');
  const service = start('service', zulctl, ['serve', '--listen', at, '--control', '--pictures', '3']);
  const token = await until('the service starts', () => /#token=(\w+)/.exec(service.said)?.[1]);
  await until('the transmitter serves', async () => /"answered":true/.test(await (await fetch(`http://${at}/api/status`)).text()));
  const scanned = scan();
  const {page, seen} = await watched(await browser, {viewport: {width: 1600, height: 900}, reducedMotion: 'reduce'});
  await page.goto(`http://${at}/#token=${token}`);
  assert.equal(await page.evaluate(() => location.hash), '', 'the token goes out of sight');
  await scanned;
  tell('boards and browser are there, and a channel is scanned');
  await ordersStreams(page);
  await showsTheGuide(page);
  await showsItsState(page);
  await servesACrowd();
  await turnsRed(page, transmitter);
  await showsAStrangerNoButtons(await browser);
  assert.deepEqual(seen.complaints, []);
  assert.deepEqual(seen.requests.filter((url) => new URL(url).host !== at), [], 'nothing leaves the host');
  assert.notEqual(await page.title(), 'owned');
}

const profile = mkdtempSync(join(tmpdir(), 'zulctl-page-'));
process.env.HOME = profile;
const browser = openBrowser();
browser.catch(() => {});  // told where it is awaited
try {
  await story(browser);
  tell('done');
} catch (error) {
  console.error(error, `\n${lastWords()}`);
  process.exitCode = 1;
} finally {
  await browser.then((opened) => opened.close(), () => {});
  endAll();
  rmSync(profile, {recursive: true, force: true});
}
