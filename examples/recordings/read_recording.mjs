// Prints what is in a recording: for each message, a line of JSON with its time, its
// topic and its fields. The file says all that it takes; nothing of the vocabulary is
// needed.
//
// usage: node read_recording.mjs FILE
import { readFileSync } from "node:fs";
import zstd from "@foxglove/wasm-zstd";
import { McapStreamReader } from "@mcap/core";
import protobuf from "protobufjs";
import "protobufjs/ext/descriptor.js";

await zstd.isLoaded;
const decompressHandlers = { zstd: (data, size) => zstd.decompress(data, Number(size)) };
const reader = new McapStreamReader({ decompressHandlers });
reader.append(readFileSync(process.argv[2]));

const types = new Map();
const channels = new Map();
for (let record; (record = reader.nextRecord()); ) {
  if (record.type === "Schema") {
    types.set(record.id, protobuf.Root.fromDescriptor(record.data).lookupType(record.name));
  } else if (record.type === "Channel") {
    channels.set(record.id, record);
  } else if (record.type === "Message") {
    const { topic, schemaId } = channels.get(record.channelId);
    const type = types.get(schemaId);
    const options = { enums: String, longs: String, bytes: String };
    const message = type.toObject(type.decode(record.data), options);
    const { logTime, sequence } = record;
    console.log(JSON.stringify({ time: String(logTime), topic, sequence, type: type.name, message }));
  }
}
if (!reader.done()) process.exitCode = 1;
