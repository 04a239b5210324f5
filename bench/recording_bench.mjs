// The rate that zorvik-mcap record keeps up with, and its memory over an hour's worth
// of envelopes. Prints the table of docs/recordings.md.
//
// usage: node bench/recording_bench.mjs FOLDER_OF_THE_NPM_PACKAGE [SECONDS]
import { spawn } from "node:child_process";
import { createSocket } from "node:dgram";
import { once } from "node:events";
import { existsSync, mkdtempSync, readFileSync, rmSync, statSync } from "node:fs";
import { tmpdir } from "node:os";
import { join, resolve } from "node:path";
import { pathToFileURL } from "node:url";
import { create, toBinary } from "@bufbuild/protobuf";
import { anyPack } from "@bufbuild/protobuf/wkt";

const [folder, seconds = 10] = process.argv.slice(2);
const load = (name) => import(pathToFileURL(resolve(folder, name)));
const { channelTopicMessageSchema, channelTopicType } = await load("channelMessage_pb.js");
const { UavGimbalRotateReqMessageSchema } = await load("gimbalMessage_pb.js");
const work = mkdtempSync(join(tmpdir(), "recording-"));
process.on("exit", () => rmSync(work, { recursive: true }));
const file = join(work, "bench.mcap");
const sleep = (ms) => new Promise((done) => setTimeout(done, ms));

const envelopes = Array.from({ length: 1000 }, (_, i) => {
  const rotationValue = { yaw: i % 180, pitch: -i % 90 };
  const data = anyPack(
    UavGimbalRotateReqMessageSchema,
    create(UavGimbalRotateReqMessageSchema, { seq: i, rotationValue }),
  );
  const envelope = {
    topicType: channelTopicType.GIMBAL_ROTATE,
    srcNodeId: 1 + (i % 20),
    dstNodeId: 9,
    data,
  };
  return toBinary(channelTopicMessageSchema, create(channelTopicMessageSchema, envelope));
});

// Sends evenly to a recorder, and prints a line of the table.
async function measure(rate, count) {
  rmSync(file, { force: true });
  const socket = createSocket("udp4");
  socket.bind(0, "127.0.0.1");
  await once(socket, "listening");
  const { port } = socket.address();
  socket.close();
  const recorder = spawn(process.execPath, [
    join(folder, "mcap/main.js"),
    "record",
    `udp:127.0.0.1:${port}`,
    "-o",
    file,
  ]);
  recorder.stderr.pipe(process.stderr);
  while (!existsSync(file) || statSync(file).size === 0) await sleep(50);
  const sender = createSocket("udp4");
  sender.connect(port, "127.0.0.1");
  await once(sender, "connect");
  const begin = performance.now();
  for (let sent = 0; sent < count;) {
    const due = Math.min(count, Math.ceil(((performance.now() - begin) / 1000) * rate));
    for (; sent < due; ++sent) sender.send(envelopes[sent % envelopes.length]);
    await sleep(1);
  }
  await new Promise((done) => sender.send("", done)); // Behind all that waits.
  const status = readFileSync(`/proc/${recorder.pid}/status`, "utf8");
  const stat = readFileSync(`/proc/${recorder.pid}/stat`, "utf8").split(" ");
  const cpu = (Number(stat[13]) + Number(stat[14])) / 100;
  const [, peak] = /VmHWM:\s+(\d+)/.exec(status);
  recorder.kill("SIGINT");
  let said = "";
  recorder.stdout.on("data", (text) => (said += text));
  await once(recorder, "close");
  sender.close();
  const kept = Number(/: (\d+) envelope/.exec(said)[1]) - 1;
  if (!(kept >= 0 && kept <= count)) throw new Error(`${kept} of ${count} are kept`);
  const size = (statSync(file).size / 1e6).toFixed(1);
  const each = Math.round((cpu * 1e6) / count);
  console.log(`| ${rate} | ${count} | ${count - kept} | ${each} | ${Math.round(peak / 1024)} | ${size} |`);
}

console.log("| Envelopes a second | Sent | Lost | CPU, µs each | Peak memory, MiB | File, MB |");
console.log("|---|---|---|---|---|---|");
for (const rate of [10000, 20000, 30000, 40000]) await measure(rate, Math.round(rate * seconds));
await measure(25000, Math.round(72000 * seconds)); // With 10, an hour of 200 a second.
