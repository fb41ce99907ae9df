// The programs of the test: boards on machines of their own, the service, and a stream that loses packets.
import {spawn} from 'node:child_process';
import {readFileSync, writeFileSync} from 'node:fs';

const running = [];

/** Starts a program and collects what it says. */
export function start(name, command, args, environment = {}) {
  const child = spawn(command, args, {env: {...process.env, ZULCTL_CONFIG: '/dev/null', ...environment}});
  const program = {name, child, said: ''};
  for (const pipe of [child.stdout, child.stderr]) pipe.on('data', (bytes) => { program.said += bytes; });
  child.on('exit', (code) => { program.ended = code ?? -1; });
  child.stdin.on('error', () => {});
  running.push(program);
  return program;
}

export function endAll() {
  for (const {child, ended} of running) if (ended === undefined) child.kill('SIGTERM');
}

/** For a failed test: the last words of every program. */
export function lastWords() {
  return running.map(({name, said}) => `--- ${name}\n${said.slice(-1500)}`).join('\n');
}

/** Waits for something to come true. Machines may be slow, so there is much time. */
export async function until(what, test, seconds = 90) {
  for (const end = Date.now() + seconds * 1000; Date.now() < end;) {
    const result = await test();
    if (result) return result;
    await new Promise((done) => { setTimeout(done, 100); });
  }
  throw new Error(`this didn't come true in ${seconds} s: ${what}`);
}

/** Writes the stream again with each hundredth packet that counts made a null packet. */
export function losePackets(from, to) {
  const stream = readFileSync(from);
  let counted = 0;
  for (let at = 0; at < stream.length; at += 188) {
    const pid = stream.readUInt16BE(at + 1) & 0x1fff;
    if (pid === 0x1fff || pid < 0x20 || pid >= 0x1000 || ++counted % 100 !== 0) continue;
    stream.writeUInt16BE(0x1fff, at + 1);
  }
  writeFileSync(to, stream);
}
