// zorvik-mcap convert: a recording of a capture.
import { unlink } from "node:fs/promises";
import { datagramOf, packets } from "./capture.js";
import { about } from "./metadata.js";
import { WrongUse } from "./places.js";
import { library, Recording } from "./recording.js";
import { say, several, showProgress } from "./terminal.js";
import { createFile, Writer } from "./writer.js";

export const help = `Usage: zorvik-mcap convert CAPTURE -o FILE [--port PORT]

Makes a recording of the UDP datagrams of a pcap or pcapng file that look like
envelopes. Fragments are not put together, and TCP is not read. When it finds none,
no file is left, and the exit status is 1.

  -o, --output FILE         a new file
  --port PORT               all datagrams from or to this port

Examples:
  zorvik-mcap convert flight.pcapng -o flight.mcap
`;

export const options = { output: { type: "string", short: "o" }, port: { type: "string" } };

const mark = Buffer.from("/zorvik.");

export async function run(values, positionals) {
  if (positionals.length !== 1) throw new WrongUse("convert takes a capture");
  if (!values.output) throw new WrongUse("convert needs -o FILE");
  const [path] = positionals;
  const port = values.port === undefined ? undefined : Number(values.port);
  if (port !== undefined && !(Number.isInteger(port) && port > 0 && port < 65536)) {
    throw new WrongUse("--port takes a number from 1 to 65535");
  }
  const isWanted = port ? ({ ports }) => ports.includes(port) : ({ data }) => data.includes(mark);

  const all = packets(path);
  let next = await all.next().catch((error) => {
    throw new Error(`${path}: ${error.message}`);
  });
  const writer = new Writer(await createFile(values.output));
  await writer.start(library);
  await writer.addMetadata("zorvik.recording", about("that of the capture", path));
  const recording = new Recording(writer);
  const unread = { tcp: 0, fragment: 0, cut: 0 };
  let fault;
  let count = 0;
  const endProgress = showProgress(
    () => `${several(count, "packet")}, ${several(recording.counts.received, "envelope")}`,
  );
  while (!next.done) {
    ++count;
    const datagram = datagramOf(next.value);
    if (datagram.kind in unread) ++unread[datagram.kind];
    if (datagram.kind === "datagram" && isWanted(datagram)) {
      const { source, destination, data } = datagram;
      if (!datagram.isWhole) ++unread.cut;
      else recording.add(next.value.time, { transport: "udp", source, destination, data });
      if (writer.isFull) await writer.flush();
    }
    try {
      next = await all.next();
    } catch (error) {
      fault = error.message;
      break;
    }
  }
  await writer.flush();
  await writer.addMetadata("zorvik.end", {
    ...recording.counts,
    ...unread,
    fault: fault ?? "none",
  });
  await writer.end();
  endProgress();

  const kinds = {
    tcp: "of TCP",
    fragment: "of fragments behind the first",
    cut: "with datagrams that are not whole",
  };
  const parts = Object.entries(kinds)
    .filter(([kind]) => unread[kind] > 0)
    .map(([kind, text]) => `${unread[kind]} ${text}`);
  if (parts.length > 0) say(`${path}: packets that are not in the recording: ${parts.join(", ")}`);
  if (fault) say(`${path}: ${fault}`);
  if (recording.counts.received === 0) {
    await unlink(values.output);
    const what = port ? "that is whole, from or to this port" : "with an envelope that is whole";
    say(`${path}: none of ${several(count, "packet")} is a datagram ${what}`);
  }
  return fault || recording.counts.received === 0 ? 1 : 0;
}
