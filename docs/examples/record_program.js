#!/usr/bin/env node
// Records one programme of a radio stream to a WAV file: a complete client of the receiver in
// Node.js 18 or later without any package, for Linux. docs/protocol.md describes what it says and
// hears.
//
//     record_program.js RECEIVER_HOST URL START_FILE OUTPUT.wav [MAXIMUM_SECONDS [KEY=JSON ...]]
//
// MAXIMUM_SECONDS is 3600 if not given; 0 records up to the source's end. Each KEY is one of what a
// PREPARE may ask for besides, such as
//
//     lookBackMs=60000 reconnectMs=300000 preRollMs=500 report='["cause","damage","titles","station"]'
//     http='{"userAgent":"MyRadio/1.0","headers":{"X-Key":"1"},"caFile":"/ca.pem"}'
//
// With startNow=true START_FILE is "-": the recording begins at once.
'use strict';

const childProcess = require('node:child_process');
const crypto = require('node:crypto');
const fs = require('node:fs');
const net = require('node:net');
const os = require('node:os');
const path = require('node:path');
const readline = require('node:readline');

const MAGIC = 0x314d4350; // "PCM1"
const O_PATH = 0x200000;
const REPLIES = ['WELCOME', 'ACK', 'REJECTED'];

// What is told to the user, in words.
class Failure extends Error {}

// A pipe that is read by counted bytes.
class Pipe {
  static async connect(uri) {
    const name = uri.slice('pcm-pipe://'.length);
    const file = `/tmp/corvadel-${process.geteuid()}/Corvadel.PCM.${name}`;
    // A socket address holds about 100 bytes; a descriptor of the file makes it short.
    const handle = fs.openSync(file, O_PATH);
    try {
      const socket = net.createConnection(`/proc/self/fd/${handle}`);
      await new Promise((resolve, reject) => {
        socket.once('connect', resolve);
        socket.once('error', reject);
      });
      return new Pipe(socket);
    } finally {
      fs.closeSync(handle);
    }
  }

  constructor(socket) {
    this.socket = socket;
    this.closed = false;
    this.wake = () => {};
    socket.on('readable', () => this.wake());
    for (const end of ['end', 'close', 'error']) {
      socket.on(end, () => {
        this.closed = true;
        this.wake();
      });
    }
  }

  async read(count) {
    if (count === 0) return Buffer.alloc(0);
    for (;;) {
      const bytes = this.socket.read(count);
      if (bytes !== null && bytes.length === count) return bytes;
      if (bytes !== null || this.closed) throw new Failure('The receiver closed the pipe');
      await new Promise((resolve) => { this.wake = resolve; });
    }
  }

  write(bytes) {
    this.socket.write(bytes);
  }

  close() {
    this.socket.end();
  }
}

// The control pipe: commands and their replies, and events in between.
class Control {
  constructor(pipe) {
    this.pipe = pipe;
    this.events = [];
    // Request ids are remembered for as long as the receiver runs.
    this.prefix = crypto.randomUUID();
    this.requests = 0;
  }

  async receive() {
    const length = (await this.pipe.read(4)).readUInt32LE(0);
    if (length < 1 || length > 65536) {
      throw new Failure('The receiver sent a frame of invalid length');
    }
    return JSON.parse((await this.pipe.read(length)).toString('utf8'));
  }

  async command(type, keys = {}) {
    const requestId = `${this.prefix}-${++this.requests}`;
    const body = Buffer.from(JSON.stringify({ type, version: 1, requestId, ...keys }), 'utf8');
    const length = Buffer.alloc(4);
    length.writeUInt32LE(body.length, 0);
    this.pipe.write(Buffer.concat([length, body]));
    for (;;) {
      const message = await this.receive();
      if (message.type === 'REJECTED' && [requestId, ''].includes(message.requestId)) {
        throw new Failure(`The receiver refused ${type}: ${message.message}`);
      }
      if (message.requestId === requestId) return message;
      if (!REPLIES.includes(message.type)) this.events.push(message);
    }
  }

  async event() {
    while (this.events.length === 0) {
      const message = await this.receive();
      if (message.type === 'REJECTED') { // a session that could not be started after all
        throw new Failure(`The receiver refused: ${message.message}`);
      }
      if (!REPLIES.includes(message.type)) this.events.push(message);
    }
    return this.events.shift();
  }
}

function wavHeader(rate, channels, pcmBytes) {
  const header = Buffer.alloc(44);
  header.write('RIFF', 0);
  header.writeUInt32LE(36 + pcmBytes, 4);
  header.write('WAVEfmt ', 8);
  header.writeUInt32LE(16, 16);
  header.writeUInt16LE(1, 20);
  header.writeUInt16LE(channels, 22);
  header.writeUInt32LE(rate, 24);
  header.writeUInt32LE(rate * channels * 2, 28);
  header.writeUInt16LE(channels * 2, 32);
  header.writeUInt16LE(16, 34);
  header.write('data', 36);
  header.writeUInt32LE(pcmBytes, 40);
  return header;
}

// The PCM1 stream behind a URI, written to a WAV file.
class Recording {
  constructor(file) {
    this.file = file;
    this.rate = 0;
    this.channels = 0;
    this.frames = 0;
    this.firstSample = 0;
    this.sourceFailed = false;
  }

  async take(ready) {
    const pipe = await Pipe.connect(ready.uri);
    // With preRollMs the audio begins before the programme does.
    this.firstSample = ready.servedSample ?? ready.sourceSample;
    const header = await pipe.read(40);
    const fixed = [header.readUInt32LE(0), header.readUInt32LE(4), header.readUInt32LE(8),
      header.readUInt16LE(18)];
    if (String(fixed) !== String([MAGIC, 1, 40, 16])) {
      throw new Failure('The audio is no PCM1 stream');
    }
    this.rate = header.readUInt32LE(12);
    this.channels = header.readUInt16LE(16);
    const output = fs.openSync(this.file, 'w');
    let record;
    fs.writeSync(output, wavHeader(this.rate, this.channels, 0));
    for (;;) {
      record = await pipe.read(24);
      const count = record.readUInt32LE(4);
      if (record.readBigUInt64LE(8) !== BigInt(this.frames) || count % (2 * this.channels) !== 0
          || count > 1048576) {
        throw new Failure('The audio came with a broken chunk');
      }
      if (record.readUInt32LE(0) !== 1) break;
      fs.writeSync(output, await pipe.read(count));
      this.frames += count / (2 * this.channels);
    }
    fs.closeSync(output);
    const acknowledgement = Buffer.alloc(16);
    acknowledgement.writeUInt32LE(MAGIC, 0);
    header.copy(acknowledgement, 8, 32, 40);
    pipe.write(acknowledgement);
    pipe.close();
    this.sourceFailed = record.readUInt32LE(0) === 3;
    if (this.sourceFailed) {
      console.error(`The source broke off (status ${record.readBigUInt64LE(16)}); the `
        + `${this.frames} frames that came before are in ${this.file}`);
    }
  }

  // A client at the live edge is sent more than the programme: cuts it off.
  close(program) {
    if (program) this.frames = Math.min(this.frames, program.endSample - this.firstSample);
    if (this.rate === 0) return;
    const pcmBytes = this.frames * this.channels * 2;
    const output = fs.openSync(this.file, 'r+');
    fs.writeSync(output, wavHeader(this.rate, this.channels, pcmBytes), 0, 44, 0);
    fs.ftruncateSync(output, 44 + pcmBytes);
    fs.closeSync(output);
    console.log('frames', this.frames);
  }
}

// What happened, and of what was asked for besides in what way.
function show(event) {
  console.log(event.type);
  if (event.type === 'RESUMED') {
    console.log(`  lost for ${event.outageMs} ms, ${event.lostFrames} frames are missing`);
  } else if (event.type === 'DAMAGED') {
    console.log(`  ${event.kind} at ${event.sample}`);
  } else if (event.type === 'TITLE') {
    console.log(`  ${event.title}`);
  }
  if (event.cause) console.error(event.cause.text);
}

async function record(control, url, startFile, output, maximumSeconds, additions) {
  const bounds = {};
  if (Number(maximumSeconds) > 0) {
    bounds.program = { maximumMs: Math.floor(Number(maximumSeconds) * 1000), fadeMs: 0 };
  }
  await control.command('HELLO');
  const references = startFile === '-' ? []
    : [{ id: 'start', role: 'start', path: path.resolve(startFile) }];
  const answer = await control.command('PREPARE', {
    sessionId: 'node-example',
    url,
    ...bounds,
    ...additions,
    references,
  });
  // A receiver ignores the keys that it does not know, and names those that it does.
  const known = answer.session.additions ?? [];
  const unknown = Object.keys(additions).filter((key) => !known.includes(key));
  if (unknown.length > 0) {
    throw new Failure(`The receiver does not know ${unknown.sort().join(', ')}`);
  }
  const recording = new Recording(output);
  for (;;) {
    const event = await control.event();
    show(event);
    if (event.type === 'READY') await recording.take(event);
    if (event.type === 'FINISHED') {
      recording.close(event.program);
      if (event.reason !== 'eof' && !recording.sourceFailed) {
        throw new Failure(`The session ended with ${event.reason}: ${event.message}`);
      }
      return !recording.sourceFailed;
    }
  }
}

async function main(program, url, startFile, output, maximumSeconds = '3600', ...additions) {
  const keys = Object.fromEntries(additions.map((text) => {
    const at = text.indexOf('=');
    return [text.slice(0, at), JSON.parse(text.slice(at + 1))];
  }));
  const uri = `pcm-pipe://receiver-control-${crypto.randomUUID()}`;
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'receiver-'));
  const receiver = childProcess.spawn(program, [uri, path.join(folder, 'receiver.log')],
    { stdio: ['ignore', 'pipe', 'inherit'] });
  const ended = new Promise((resolve) => {
    receiver.once('exit', resolve);
    receiver.once('error', () => resolve(-1));
  });
  try {
    const lines = readline.createInterface({ input: receiver.stdout });
    const line = await new Promise((resolve) => {
      lines.once('line', resolve);
      lines.once('close', () => resolve(''));
    });
    if (line !== `LISTENING ${uri}`) throw new Failure('The receiver does not listen');
    const control = new Control(await Pipe.connect(uri));
    const complete = await record(control, url, startFile, output, maximumSeconds, keys);
    await control.command('SHUTDOWN');
    return complete && (await ended) === 0 ? 0 : 1;
  } catch (failure) {
    if (!(failure instanceof Failure)) throw failure;
    console.error(failure.message);
    return 1;
  } finally {
    receiver.kill('SIGTERM'); // ends it cleanly if SHUTDOWN has not
    await ended;
    fs.rmSync(folder, { recursive: true });
  }
}

if (process.argv.length < 6) {
  console.error('record_program.js RECEIVER_HOST URL START_FILE OUTPUT.wav [MAXIMUM_SECONDS '
    + '[KEY=JSON ...]]');
  process.exitCode = 2;
} else {
  main(...process.argv.slice(2)).then((code) => process.exit(code));
}
