// zorvik-mcap: what it records, replays and repairs, and what it says of what it
// could not keep.
//
// usage: node mcap_test.mjs FOLDER_OF_THE_PACKAGE CAPTURE_OF_THE_DEMO
import assert from "node:assert/strict";
import { spawn, spawnSync } from "node:child_process";
import { createSocket } from "node:dgram";
import { once } from "node:events";
import {
  cpSync,
  existsSync,
  mkdtempSync,
  readFileSync,
  readdirSync,
  rmSync,
  statSync,
  symlinkSync,
  writeFileSync,
} from "node:fs";
import { createServer } from "node:net";
import { tmpdir } from "node:os";
import { dirname, join, resolve } from "node:path";
import { after, test } from "node:test";
import { setTimeout as sleep } from "node:timers/promises";
import { fileURLToPath, pathToFileURL } from "node:url";
import zstd from "@foxglove/wasm-zstd";
import { McapIndexedReader, McapStreamReader } from "@mcap/core";
import mqtt from "mqtt";
import protobuf from "protobufjs";
import "protobufjs/ext/descriptor.js";

const [folder, capture] = process.argv.slice(2).map((path) => resolve(path));
const root = join(dirname(fileURLToPath(import.meta.url)), "../..");
const load = (name) => import(pathToFileURL(join(folder, name)));
const { Recorder } = await load("mcap/recorder.js");
const { Recording } = await load("mcap/recording.js");
const { Writer } = await load("mcap/writer.js");
const { recover } = await load("mcap/recover.js");
const { received } = await load("mcap/reader.js");
const { placeOf } = await load("mcap/places.js");
const { pace } = await load("mcap/replay.js");
const { isWellFormed } = await load("mcap/envelope.js");
const { registry } = await load("registry.js");
const { catalogue } = await load("catalogue.js");
const work = mkdtempSync(join(tmpdir(), "mcap-"));
const running = new Set();
after(() => {
  running.forEach((child) => child.kill("SIGKILL"));
  rmSync(work, { recursive: true });
});
await zstd.isLoaded;
const decompressHandlers = { zstd: (data, size) => zstd.decompress(data, Number(size)) };
let number = 0;
const newPath = () => join(work, `${++number}.mcap`);

// Runs the program.
const main = join(folder, "mcap/main.js");
function run(...args) {
  const { status, stdout, stderr } = spawnSync(process.execPath, [main, ...args], {
    encoding: "utf8",
    timeout: 60_000,
  });
  return { status, stdout, stderr };
}
function ok(...args) {
  const result = run(...args);
  assert.deepEqual([result.status, result.stderr], [0, ""], args.join(" "));
  return result.stdout;
}
function start(command, ...args) {
  const child = spawn(command, args, { stdio: ["ignore", "pipe", "pipe"] });
  child.text = "";
  for (const stream of [child.stdout, child.stderr]) stream.on("data", (data) => (child.text += data));
  child.ended = once(child, "close").then(([code]) => code);
  running.add(child);
  child.ended.then(() => running.delete(child));
  return child;
}
async function until(condition, what) {
  for (let i = 0; !(await condition()); ++i) {
    assert.ok(i < 400, `no ${what}`);
    await sleep(50);
  }
}
async function record(path, ...args) {
  const child = start(process.execPath, main, "record", "-o", path, ...args);
  await until(() => existsSync(path) && readFileSync(path).includes("zorvik.recording"), `recorder: ${child.text}`);
  return child;
}
async function freePort() {
  const socket = createSocket("udp4").bind(0, "127.0.0.1");
  await once(socket, "listening");
  const { port } = socket.address();
  await new Promise((done) => socket.close(done));
  return port;
}
async function send(port, datagrams) {
  const socket = createSocket("udp4");
  for (const bytes of datagrams) await new Promise((done) => socket.send(bytes, port, "127.0.0.1", done));
  socket.close();
}

// The records of a file, by MCAP's own reader.
function recordsOf(bytes) {
  const reader = new McapStreamReader({ decompressHandlers });
  reader.append(bytes);
  const records = [];
  for (let record; (record = reader.nextRecord());) records.push(record);
  assert.ok(reader.done(), "the file is not whole");
  return records;
}
// What it says by itself, without anything of this project: for each message its
// topic, type and fields.
function readBack(bytes) {
  const [types, channels, messages] = [new Map(), new Map(), []];
  for (const record of recordsOf(bytes)) {
    if (record.type === "Schema")
      types.set(record.id, protobuf.Root.fromDescriptor(record.data).lookupType(record.name));
    if (record.type === "Channel") channels.set(record.id, record);
    if (record.type !== "Message") continue;
    const { topic, schemaId } = channels.get(record.channelId);
    const type = types.get(schemaId);
    messages.push({
      ...record,
      topic,
      type,
      message: type.toObject(type.decode(record.data), { enums: String }),
    });
  }
  return messages;
}
const rawOf = (bytes) =>
  readBack(bytes)
    .filter(({ topic }) => topic === "/received")
    .map(({ message }) => message);
const hex = (list) => list.map((bytes) => Buffer.from(bytes ?? []).toString("hex"));
const dataOfBytes = (bytes) => hex(rawOf(bytes).map(({ data }) => data));
const dataOf = (path) => dataOfBytes(readFileSync(path));
const decodedOf = (path) =>
  readBack(readFileSync(path))
    .filter(({ topic }) => topic !== "/received")
    .map(({ topic, type, message, sequence }) => ({
      topic,
      type: type.fullName,
      message,
      sequence,
    }));
const metadataOf = (bytes) =>
  Object.fromEntries(
    recordsOf(bytes)
      .filter(({ type }) => type === "Metadata")
      .map(({ name, metadata }) => [name, Object.fromEntries(metadata)]),
  );

// A file in memory, which may be full.
class Memory {
  bytes = Buffer.alloc(0);
  constructor(space = Infinity) {
    this.space = space;
  }
  async append(bytes) {
    this.bytes = Buffer.concat([this.bytes, bytes.subarray(0, this.space - this.bytes.length)]);
    if (this.bytes.length >= this.space) throw new Error("no space left");
  }
  async truncate(size) {
    this.bytes = this.bytes.subarray(0, size);
  }
  async close() {}
}

// A recording of times and what came at them.
async function recordingOf(list) {
  const [memory, recorder] = [new Memory(), new Recorder()];
  for (const [time, received] of list) recorder.take(time, received);
  await recorder.start(memory, {});
  const counts = await recorder.end();
  return { bytes: memory.bytes, counts };
}

const varint = (value) => (value < 128 ? [value] : [(value & 127) | 128, ...varint(value >>> 7)]);
const field = (number, bytes) =>
  Buffer.concat([Buffer.from([...varint((number << 3) | 2), ...varint(bytes.length)]), bytes]);
const packed = (name, value = []) =>
  Buffer.concat([field(1, Buffer.from(`type.googleapis.com/${name}`)), field(2, Buffer.from(value))]);
const envelope = (topic, from, to, name, value) =>
  Buffer.concat([
    Buffer.from([8, ...varint(topic), 16, ...varint(from), 24, ...varint(to)]),
    field(4, packed(name, value)),
  ]);
const reset = (seq, from = 1) => envelope(10419, from, 9, "zorvik.gimbal.UavResetReqMessage", [8, ...varint(seq)]);
const resetTopic = "CHANNEL_TOPIC_TYPE_GIMBAL_RESET";

test("the demo, recorded, replayed and recorded again, is equal to the byte", async () => {
  const paths = [newPath(), newPath(), newPath()];
  const found = newPath();
  ok("convert", capture, "-o", found);
  const [, port] = /:(\d+)$/.exec(rawOf(readFileSync(found))[0].source);
  ok("convert", capture, "-o", paths[0], "--port", port);
  const expected = dataOf(paths[0]);
  assert.ok(expected.length > 10, "the demo sends more");
  assert.deepEqual(
    dataOf(found),
    expected.filter((data) => data.includes(Buffer.from("/zorvik.").toString("hex"))),
  );
  for (const [i, speed] of [
    [1, "--speed=20"],
    [2, "--fast"],
  ]) {
    const port = await freePort();
    const recorder = await record(paths[i], `udp:127.0.0.1:${port}`, "--count", String(expected.length));
    ok("replay", paths[i - 1], `udp:127.0.0.1:${port}`, speed);
    assert.equal(await recorder.ended, 0, recorder.text);
    assert.deepEqual(dataOf(paths[i]), expected);
    assert.deepEqual(decodedOf(paths[i]), decodedOf(paths[0]));
  }

  // In a folder that has nothing of this project.
  const alone = mkdtempSync(join(work, "alone-"));
  symlinkSync(join(root, "node_modules"), join(alone, "node_modules"));
  cpSync(join(root, "examples/recordings/read_recording.mjs"), join(alone, "read.mjs"));
  const read = spawnSync(process.execPath, ["read.mjs", paths[2]], {
    cwd: alone,
    encoding: "utf8",
  });
  const lines = read.stdout
    .trim()
    .split("\n")
    .map((line) => JSON.parse(line));
  assert.equal(lines.filter(({ topic }) => topic === "/received").length, expected.length);
  const rotate = lines.find(({ topic }) => topic === "/node/1/CHANNEL_TOPIC_TYPE_GIMBAL_ROTATE");
  assert.deepEqual(
    [rotate.type, rotate.message],
    ["UavGimbalRotateReqMessage", { seq: 1, rotationValue: { pitch: -30, yaw: 45 } }],
  );
});

test("every message of the vocabulary comes back, and what is malformed is told apart", async () => {
  const memory = new Memory();
  const recorder = new Recorder();
  const expected = [];
  let malformed = 0;
  for (const file of readdirSync(join(root, "tests/vectors")).filter((name) => name.endsWith(".json"))) {
    for (const vector of JSON.parse(readFileSync(join(root, "tests/vectors", file))).vectors) {
      const good = [vector.hex, vector.input, ...(vector.also ?? [])].filter((text) => text !== undefined);
      for (const [texts, isGood] of [
        [good, true],
        [vector.rejects ?? [], false],
      ]) {
        for (const text of texts) {
          const bytes = Buffer.from(text.replaceAll(" ", ""), "hex");
          const schema = registry.getMessage(vector.message);
          assert.equal(isWellFormed(schema, bytes), isGood, `${vector.name}: ${text}`);
          recorder.take(1n, { transport: "udp", data: envelope(5, 1, 2, vector.message, bytes) });
          if (isGood) expected.push([vector.message, vector.hex.replaceAll(" ", "")]);
          else ++malformed;
        }
      }
    }
  }
  await recorder.start(memory, {});
  const counts = await recorder.end();
  assert.deepEqual([counts.kept, counts.malformedContent, counts.notKept], [expected.length + malformed, malformed, 0]);
  assert.ok(expected.length > 400 && malformed > 40, "too few vectors");
  const fields = new Map(catalogue.messages.map((message) => [message.name, message.fields]));
  const found = readBack(memory.bytes)
    .filter(({ topic }) => topic !== "/received")
    .map(({ topic, type, data }) => {
      const name = type.fullName.slice(1);
      assert.equal(topic, `/node/1/5/${name}`);
      // Enums whose numbers are in plain fields come with the message.
      for (const field of fields.get(name)) if (field.enum) assert.ok(type.root.lookupEnum(field.enum), field.enum);
      const reader = protobuf.Reader.create(data);
      reader.discardUnknown = false;
      return [name, Buffer.from(type.encode(type.decode(reader)).finish()).toString("hex")];
    });
  assert.deepEqual(found, expected);
});

test("what is no plain envelope is kept, counted and shown where it belongs", async () => {
  const power = "zorvik.power.onOffMessage";
  const rotate = "zorvik.gimbal.UavGimbalRotateReqMessage";
  const cases = [
    // The bytes, and the topic of their content or what they are counted as.
    [reset(4), `/node/1/${resetTopic}`],
    [Buffer.concat([reset(4), Buffer.from([0x78, 3])]), `/node/1/${resetTopic}`],
    [envelope(10419, 1, 9, power), `/node/1/${resetTopic}/${power}`],
    [envelope(999, 3, 9, power), `/node/3/999/${power}`],
    [field(4, packed(power)), `/node/0/CHANNEL_TOPIC_TYPE_UNKNOW/${power}`],
    [
      Buffer.from([16, ...Array(9).fill(255), 1, ...field(4, packed(power))]),
      `/node/-1/CHANNEL_TOPIC_TYPE_UNKNOW/${power}`,
    ],
    // Content in two parts is merged.
    [Buffer.concat([reset(1), field(4, field(1, Buffer.from(`x/${power}`)))]), `/node/1/${resetTopic}/${power}`],
    [Buffer.concat([Buffer.from([8, 65]), field(2, packed(power, [8, 1]))]), `/task/65/${power}`],
    [field(2, packed(power)), `/task/0/${power}`],
    [Buffer.from([8, ...varint(10419), 16, 1]), "noContent"],
    [Buffer.alloc(0), "noContent"],
    [field(4, Buffer.alloc(0)), "noContent"],
    [field(4, field(1, Buffer.from("no-slash"))), "noContent"],
    [envelope(10404, 1, 9, "zorvik.newer.Message", [8]), "unknownContent"],
    [envelope(10404, 1, 9, rotate, [8]), "malformedContent"],
    [envelope(10404, 1, 9, rotate, [34, 1, 8]), "malformedContent"],
    [reset(4).subarray(0, -1), "noEnvelope"],
    [field(4, field(1, Buffer.from([255, 0x2f]))), "noEnvelope"],
    [Buffer.from("hello"), "noEnvelope"],
    [Buffer.from([26, 0]), "noEnvelope"],
  ];
  const memory = new Memory();
  const recorder = new Recorder();
  await recorder.start(memory, { host: "h" });
  const from = { transport: "mqtt", source: "s:1", destination: "a/b", retained: true };
  for (const [data] of cases) recorder.take(7n, { ...from, data });
  await recorder.end({ more: 5 });
  const messages = readBack(memory.bytes);
  for (const { data, ...rest } of rawOf(memory.bytes)) assert.deepEqual(rest, from, hex([data]));
  assert.deepEqual(dataOfBytes(memory.bytes), hex(cases.map(([data]) => data)));
  cases.forEach(([data, expected], i) => {
    const topics = messages
      .filter(({ sequence, topic }) => sequence === i + 1 && topic !== "/received")
      .map(({ topic }) => topic);
    assert.deepEqual(topics, expected.startsWith("/") ? [expected] : [], data.toString("hex"));
  });
  const merged = messages.filter(({ topic }) => topic === `/node/1/${resetTopic}/${power}`);
  assert.deepEqual(hex(merged.map(({ data }) => data)), ["", "0801"]);
  const { "zorvik.recording": begin, "zorvik.end": end } = metadataOf(memory.bytes);
  assert.deepEqual(
    [begin.host, end.more, end.received, end.kept],
    ["h", "5", String(cases.length), String(cases.length)],
  );
  for (const kind of ["noContent", "unknownContent", "malformedContent", "noEnvelope"]) {
    assert.equal(Number(end[kind]), cases.filter(([, expected]) => expected === kind).length, kind);
  }
});

test("a sender that invents nodes gets no more channels than there may be", async () => {
  const sent = Array.from({ length: 3000 }, (_, i) => [1n, { transport: "udp", data: reset(1, i) }]);
  const { bytes, counts } = await recordingOf(sent);
  assert.equal(rawOf(bytes).length, 3000);
  assert.deepEqual([counts.tooManyChannels, readBack(bytes).length], [1000, 5000]);
});

test("a file that is cut at any byte yields all whole chunks before the cut", async () => {
  const memory = new Memory();
  const writer = new Writer(memory);
  await writer.start("test");
  await writer.addMetadata("zorvik.recording", { host: "h" });
  const recording = new Recording(writer);
  const ends = []; // Of chunks: the size of the file, and how many there are.
  for (let i = 1; i <= 9; ++i) {
    recording.add(BigInt(i), { transport: "udp", data: reset(i, i % 3) });
    if (i % 2 === 1) await writer.flush();
    // The chunk is whole before the index of its messages is.
    if (i % 2 === 1) ends.push([memory.bytes.length, i]);
  }
  await writer.end();
  const whole = memory.bytes;
  const { chunkIndexes } = await McapIndexedReader.Initialize({
    readable: {
      size: async () => BigInt(whole.length),
      read: async (offset, size) => new Uint8Array(whole.subarray(Number(offset), Number(offset + size))),
    },
  });
  chunkIndexes.forEach((index, i) => {
    const end = Number(index.chunkStartOffset + index.chunkLength);
    assert.ok(end <= ends[i][0] && end + Number(index.messageIndexLength) === ends[i][0]);
    ends[i][0] = end;
  });
  assert.equal(ends.length, 5);
  const path = newPath();
  const all = dataOfBytes(whole);
  for (let size = 0; size < whole.length; ++size) {
    writeFileSync(path, whole.subarray(0, size));
    const count = ends.filter(([end]) => end <= size).at(-1)?.[1] ?? 0;
    const output = new Memory();
    const result = await recover(path, () => output).catch((error) => error);
    if (result instanceof Error) {
      assert.ok(size < 60 && result.message === `${path} is no recording`, `${size}: ${result}`);
      continue;
    }
    assert.equal(result.envelopes, count, `cut at ${size}`);
    assert.notEqual(result.fault, "none");
    assert.deepEqual(dataOfBytes(output.bytes), all.slice(0, count));
    assert.equal(metadataOf(output.bytes)["zorvik.recovery"].envelopes, String(count));
    const replayed = [];
    let fault;
    for await (const { data } of received(path, { onFault: (text) => (fault = text) })) replayed.push(data);
    assert.deepEqual([hex(replayed), fault !== undefined], [all.slice(0, count), true]);
    const between = [];
    const range = { start: 3n, end: 6n, onFault: () => {} };
    for await (const { time } of received(path, range)) between.push(time);
    assert.deepEqual(between, [3n, 4n, 5n, 6n].slice(0, Math.max(0, count - 2)));
  }
  writeFileSync(path, whole);
  const output = new Memory();
  assert.deepEqual(await recover(path, () => output), { envelopes: 9, fault: "none" });
  assert.deepEqual(
    readBack(output.bytes).map(({ topic, type, sequence }) => [topic, type.fullName, sequence]),
    readBack(whole).map(({ topic, type, sequence }) => [topic, type.fullName, sequence]),
  );
});

test("recover closes chunks on the way; times need no order", async () => {
  const times = [3n, 1n, 4n, 2n];
  const sent = Array.from({ length: 1200 }, (_, i) => [
    times[i % 4],
    { transport: "udp", data: Buffer.alloc(1000, i) },
  ]);
  const { bytes } = await recordingOf(sent);
  const [cut, output] = [newPath(), newPath()];
  writeFileSync(cut, bytes.subarray(0, -1));
  const result = run("recover", cut, "-o", output);
  assert.deepEqual([result.status, /: it ends \d+ bytes? behind/.test(result.stderr)], [0, true], result.stderr);
  const { chunkCount } = recordsOf(readFileSync(output)).find(({ type }) => type === "Statistics");
  assert.ok(chunkCount > 5, `${chunkCount} chunks`);
  for (const path of [cut, output]) {
    const { start, end } = JSON.parse(run("info", "--json", path).stdout);
    assert.deepEqual([start.slice(-3), end.slice(-3)], ["01Z", "04Z"], path);
  }
});

test("a slow disk drops nothing in silence", async () => {
  const memory = new Memory();
  const append = memory.append.bind(memory);
  let release;
  const released = new Promise((done) => (release = done));
  const recorder = new Recorder(100_000);
  await recorder.start(memory, {});
  memory.append = (bytes) => released.then(() => append(bytes));
  const sent = [];
  for (let i = 0; i < 20_000; ++i) {
    sent.push(reset(i));
    recorder.take(BigInt(i), { transport: "udp", data: sent[i] });
    if (i % 100 === 0) await sleep(0);
  }
  assert.equal(recorder.counts.kept, 0);
  release();
  const counts = await recorder.end();
  assert.ok(counts.kept > 300 && counts.kept < 2000, `${counts.kept} were kept`);
  assert.equal(counts.notKept, sent.length - counts.kept);
  assert.equal(metadataOf(memory.bytes)["zorvik.end"].notKept, String(counts.notKept));
  assert.deepEqual(dataOfBytes(memory.bytes), hex(sent.slice(0, counts.kept)));

  // What is written makes room for more.
  const quick = new Recorder(100_000);
  await quick.start(new Memory(), {});
  for (let i = 0; i < 5000; ++i) {
    quick.take(BigInt(i), { transport: "udp", data: reset(i) });
    if (i % 100 === 0) await sleep(0);
  }
  assert.equal((await quick.end()).notKept, 0);
});

test("a full disk ends it with what is whole, and says how many are not kept", async () => {
  for (const space of [3000, 6000, 9000, 20_000]) {
    const memory = new Memory(space);
    const recorder = new Recorder();
    let failure;
    await recorder.start(memory, {}, (error) => (failure = error));
    for (let i = 0; i < 5000 && !failure; ++i) {
      recorder.take(BigInt(i), { transport: "udp", data: reset(i, i % 50) });
      if (i % 500 === 0) await sleep(1);
    }
    const counts = await recorder.end();
    assert.equal(failure?.message ?? recorder.failure?.message, "no space left");
    const path = newPath();
    writeFileSync(path, memory.bytes);
    const { envelopes } = await recover(path, () => new Memory());
    assert.equal(envelopes, counts.kept, `space for ${space}`);
    assert.equal(counts.kept + counts.notKept, counts.received);
    assert.ok(counts.notKept > 0);
  }
});

test("a recorder that is killed leaves all but the last second", async () => {
  const path = newPath();
  const port = await freePort();
  const recorder = await record(path, `udp:127.0.0.1:${port}`);
  const empty = statSync(path).size;
  await send(port, [reset(1), reset(2), reset(3)]);
  await until(() => statSync(path).size > empty, "chunk within its time");
  recorder.kill("SIGKILL");
  await recorder.ended;
  const info = run("info", path);
  assert.deepEqual([info.status, /recover repairs it/.test(info.stderr)], [1, true]);
  const output = newPath();
  assert.equal(run("recover", path, "-o", output).status, 0);
  assert.deepEqual(dataOf(output), hex([reset(1), reset(2), reset(3)]));
  assert.equal(JSON.parse(ok("info", "--json", output)).whole, true);
});

test("what the system drops is counted", async () => {
  for (const host of ["127.0.0.1", "[::ffff:127.0.0.1]"]) {
    const path = newPath();
    const port = await freePort();
    const recorder = await record(path, `udp:${host}:${port}`);
    recorder.kill("SIGSTOP");
    const datagrams = Array.from({ length: 800 }, () => Buffer.alloc(60_000, 1));
    await send(port, datagrams);
    recorder.kill("SIGCONT");
    recorder.kill("SIGTERM");
    assert.equal(await recorder.ended, 1, host);
    const kept = dataOf(path).length;
    const [, drops] = /dropped by the system .*: (\d+) datagrams/.exec(recorder.text);
    assert.equal(kept + Number(drops), datagrams.length, host);
    assert.equal(metadataOf(readFileSync(path))["zorvik.end"].systemDrops, drops);
  }
});

test("replay keeps the spacing, and is never early", async () => {
  const times = [5n, 5n, 1_000_005n, 1_000_006n, 50_000_005n, 2_000_000_005n];
  for (const [speed, late] of [
    [1, 0],
    [4, 0.9],
    [0.5, 3],
    [Infinity, 0],
  ]) {
    let clock = 1000;
    const sleep = async (ms) => (clock += ms + late);
    const wait = pace(speed, undefined, { now: () => clock, sleep, turn: async () => (clock += 0.01) });
    for (const time of times) {
      await wait(time);
      const due = 1000 + Number(time - times[0]) / 1e6 / speed;
      // Later than a timer alone may be, never.
      assert.ok(clock >= due && clock <= due + late + 0.02, `${time} at speed ${speed}: ${clock}, due ${due}`);
    }
  }
  let stopped = false;
  const wait = pace(1, () => stopped, { sleep: async () => (stopped = true) });
  await wait(0n);
  await wait(10n ** 18n);
});

test("replay sends what was asked for", async () => {
  const second = 1_000_000_000n;
  const rotate = (from, to) => envelope(10404, from, to, "zorvik.gimbal.UavGimbalRotateReqMessage");
  const sent = [reset(0, 1), rotate(2, 9), rotate(1, 8), Buffer.from("hello"), reset(4, 2), reset(5, 1)];
  const timed = sent.map((data, i) => [(1_700_000_000n + BigInt(i)) * second, { transport: "udp", data }]);
  const path = newPath();
  writeFileSync(path, (await recordingOf(timed)).bytes);
  for (const line of `
    012345
    025 --from 1
    0145 --from=1 --from=2 --to=9
    12 --topic GIMBAL_ROTATE
    4 --topic zorvik.channel.CHANNEL_TOPIC_TYPE_GIMBAL_RESET --from 2
    01245 --topic 10404 --topic 0x28b3
    123 --start 1 --end 3.5
    0123 --end 3
    45 --start 2023-11-14T22:13:24Z
    01 --end 2023-11-14T22:13:22Z --to 9`
    .trim()
    .split("\n")) {
    const [expected, ...args] = line.trim().split(" ");
    const listener = createSocket("udp4").bind(0, "127.0.0.1");
    await once(listener, "listening");
    const arrived = [];
    listener.on("message", (data) => arrived.push(data));
    const place = `udp:127.0.0.1:${listener.address().port}`;
    const child = start(process.execPath, main, "replay", path, place, "--fast", ...args);
    assert.equal(await child.ended, 0, child.text);
    await until(() => arrived.length >= expected.length, `datagrams of ${args}`);
    listener.close();
    assert.deepEqual(hex(arrived), hex([...expected].map((i) => sent[i])), args.join(" "));
  }
  const { start: first, end: last, ...info } = JSON.parse(ok("info", "--json", path));
  assert.deepEqual([first, last], ["2023-11-14T22:13:20.000000Z", "2023-11-14T22:13:25.000000Z"]);
  assert.deepEqual([info.whole, info.envelopes, info.seconds, info.metadata["zorvik.end"].kept], [true, 6, 5, "6"]);
  assert.deepEqual(
    info.channels.map(({ topic, messages }) => [topic, messages]),
    [
      [`/node/1/${resetTopic}`, 2],
      ["/node/1/CHANNEL_TOPIC_TYPE_GIMBAL_ROTATE", 1],
      [`/node/2/${resetTopic}`, 1],
      ["/node/2/CHANNEL_TOPIC_TYPE_GIMBAL_ROTATE", 1],
    ],
  );
  assert.match(ok("info", path), /6 envelopes, 5.000 s\n(.*\n)*on no channel of its own: 1 no envelope\n2 \/node\/1\//);
  const chosen = run("replay", path, "udp:127.0.0.1:1", "--from", "77");
  assert.deepEqual([chosen.status, /choose none/.test(chosen.stderr)], [1, true]);
  // Nobody listens: the first one is sent, and what comes back is told.
  const result = run("replay", path, `udp:127.0.0.1:${await freePort()}`, "--speed", "20");
  assert.equal(result.status, 1);
  assert.match(result.stderr, /of 6 envelopes could not be sent: .*ECONNREFUSED/);
});

test("a broker: topics, what it had kept, and when it goes away", async () => {
  const port = await freePort();
  const startBroker = async () => {
    const broker = start("mosquitto", "-p", String(port));
    await until(() => /mosquitto version .* running/.test(broker.text), `broker: ${broker.text}`);
    return broker;
  };
  let broker = await startBroker();
  const source = newPath();
  const given = ["zorvik/a/1/in", "zorvik/a/2/out", "zorvik/a/1/in"].map((destination, i) => [
    BigInt(i),
    { transport: "mqtt", destination, data: reset(i) },
  ]);
  given.push([3n, { transport: "udp", destination: "127.0.0.1:1", data: reset(3) }]);
  writeFileSync(source, (await recordingOf(given)).bytes);

  const client = await mqtt.connectAsync(`mqtt://127.0.0.1:${port}`);
  await client.publishAsync("zorvik/state", "kept", { qos: 1, retain: true });
  await client.endAsync();
  const place = `mqtt:127.0.0.1:${port}`;
  const path = newPath();
  const recorder = await record(path, `${place}/zorvik/#`);
  const result = run("replay", source, place);
  assert.deepEqual(
    [result.status, /1 of 4 envelopes could not be sent: .*name a topic/.test(result.stderr)],
    [1, true],
  );
  ok("replay", source, `${place}/zorvik/other`, "--fast");

  broker.kill();
  await broker.ended;
  await until(() => /connection is gone/.test(recorder.text), "word of the lost connection");
  const refused = run("replay", source, place);
  assert.deepEqual([refused.status, /ECONNREFUSED/.test(refused.stderr)], [1, true]);
  await sleep(2500); // Attempts to connect again fail, and are no more interruptions.
  broker = await startBroker();
  await until(() => /connected again/.test(recorder.text), "new connection");
  ok("replay", source, `${place}/zorvik/again`, "--to", "9");
  recorder.kill("SIGINT");
  assert.equal(await recorder.ended, 1);
  const raw = rawOf(readFileSync(path));
  assert.deepEqual(
    raw.map(({ destination, retained = false }) => [destination, retained]),
    [
      ["zorvik/state", true],
      ["zorvik/a/1/in", false],
      ["zorvik/a/2/out", false],
      ["zorvik/a/1/in", false],
      ...Array(4).fill(["zorvik/other", false]),
      ...Array(4).fill(["zorvik/again", false]),
    ],
  );
  const all = [0, 1, 2, 3].map((i) => reset(i));
  assert.deepEqual(hex(raw.map(({ data }) => data)), hex([Buffer.from("kept"), ...all.slice(0, 3), ...all, ...all]));
  assert.equal(metadataOf(readFileSync(path))["zorvik.end"].interruptions, "1");
  broker.kill();
  await broker.ended;
});

test("a broker that says nothing, or goes away before it confirms", async () => {
  let last;
  let answers = {};
  const server = createServer({ allowHalfOpen: true }, (socket) => {
    socket.unref().on("error", () => {});
    socket.on("data", (data) => answers[(last = data)[0] >> 4]?.(socket, data));
  });
  const endOf = (child) => Promise.race([child.ended, sleep(5000)]);
  server.unref().listen(0, "127.0.0.1");
  await once(server, "listening");
  const place = `mqtt:127.0.0.1:${server.address().port}/a`;
  const [source, password] = [newPath(), newPath()];
  ok("convert", capture, "-o", source);
  writeFileSync(password, "secret\n");
  for (const args of [
    ["record", place, "-o", newPath()],
    ["replay", source, place],
  ]) {
    last = undefined;
    const child = start(process.execPath, main, ...args, "--user", "me", "--password-file", password);
    await until(() => last, "CONNECT");
    assert.ok(last.toString("latin1").endsWith("\0\x02me\0\x06secret"));
    child.kill("SIGINT");
    assert.deepEqual([await endOf(child), /stopped while it connected/.test(child.text)], [1, true], child.text);
  }
  answers[1] = (socket) => socket.write(Buffer.from([0x20, 2, 0, 0]));
  answers[8] = (socket, data) => socket.write(Buffer.from([0x90, 3, data[2], data[3], 1]));
  const recorder = await record(newPath(), place);
  recorder.kill("SIGINT");
  assert.equal(await endOf(recorder), 0, recorder.text);
  const all = dataOf(source).length;
  for (const leave of [(child) => child.kill("SIGINT"), (_, socket) => socket.destroy()]) {
    const child = start(process.execPath, main, "replay", source, place, "--fast");
    answers[3] = (socket) => leave(child, socket);
    assert.equal(await endOf(child), 1, child.text);
    assert.match(child.text, new RegExp(`: ${all} of ${all} envelopes could not be sent`));
  }
});

test("a capture that is cut is an error, also behind what could be read", () => {
  const bytes = readFileSync(capture);
  const path = join(work, "cut.pcap");
  for (const size of [0, 3, 4, 20, 24, 30, 40, 41, 60, bytes.length - 1]) {
    writeFileSync(path, bytes.subarray(0, size));
    const result = run("convert", path, "-o", newPath());
    assert.deepEqual([result.status, /^ +at /m.test(result.stderr)], [1, false], `${size}: ${result.stderr}`);
  }
});

test("the command line", async () => {
  const there = newPath();
  writeFileSync(there, "not a recording");
  for (const command of ["record", "convert", "replay", "info", "recover"]) {
    assert.match(
      ok(command, "--help"),
      new RegExp(`^Usage: zorvik-mcap ${command} .*Examples:\n  zorvik-mcap ${command} `, "s"),
    );
  }
  assert.match(ok("--version"), /^\d+\.\d+\.\d+\n$/);
  const [none, free, unused] = [newPath(), () => newPath(), newPath()];
  for (const line of `
    2
    2 toString
    2 info
    2 info ${there} --jsn
    2 record -o x
    2 record udp:14550
    2 record udp:a:65536 -o x
    2 record tcp:1 -o x
    2 record mqtt:a -o x
    2 record udp:14550 -o x --for 0
    2 record udp:14550 -o x --for 3000000
    2 record udp:14550 -o x --count 1.5
    2 convert ${capture}
    2 convert ${capture} -o x --port 0
    2 recover ${there}
    2 replay ${there}
    2 replay ${there} udp:14550
    2 replay ${there} udp:a:1 --speed 0
    2 replay ${there} udp:a:1 --fast --speed 2
    2 replay ${there} udp:a:1 --topic ROTATE
    2 replay ${there} mqtt:a/zorvik/#
    2 replay ${there} udp:a:1 --from x
    2 replay ${there} udp:a:1 --start -1
    2 replay ${there} udp:a:1 --end=-1
    1 info ${there}
    1 info ${work}
    1 recover ${there} -o ${free()}
    1 convert ${there} -o ${free()}
    1 convert ${capture} -o ${there}
    1 convert ${capture} -o ${unused} --port 1
    1 replay ${capture} udp:127.0.0.1:1
    1 record udp:127.0.0.1:${await freePort()} -o ${there}
    1 replay ${none} udp:127.0.0.1:1`
    .trim()
    .split("\n")) {
    const [status, ...args] = line.trim().split(" ");
    const result = run(...args);
    assert.equal(result.status, Number(status), `${args.join(" ")}: ${result.stderr}`);
    assert.match(result.stderr, /^zorvik-mcap: [^\n]+\n$/, args.join(" "));
    assert.doesNotMatch(result.stderr, /\\x0a|magic/, args.join(" "));
    // What failed is named.
    if (result.status === 1) assert.match(result.stderr, /: .*(\/|:\d)/, args.join(" "));
  }
  assert.equal(existsSync(unused), false);
  assert.equal(readFileSync(there, "utf8"), "not a recording");
  for (const [text, ...parts] of [
    ["udp:5000", "udp", undefined, 5000, undefined],
    ["udp:[::1]:5000", "udp", "::1", 5000, undefined],
    ["udp:239.0.0.1:1", "udp", "239.0.0.1", 1, undefined],
    ["mqtt:host/a/#", "mqtt", "host", undefined, "a/#"],
    ["mqtt:[fe80::1%eth0]:65535/a:b", "mqtt", "fe80::1%eth0", 65535, "a:b"],
  ]) {
    const { scheme, host, port, topic } = placeOf(text);
    assert.deepEqual([scheme, host, port, topic], parts, text);
  }
});
