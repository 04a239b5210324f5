// Reads recordings: by their index, or, where it is missing because the file was cut,
// from the beginning to the cut.
import { createReadStream } from "node:fs";
import { open } from "node:fs/promises";
import { fromBinary } from "@bufbuild/protobuf";
import zstd from "@foxglove/wasm-zstd";
import { McapIndexedReader, McapStreamReader } from "@mcap/core";
import { rawTopic } from "./recording.js";
import { ReceivedSchema } from "./recording_pb.js";
import { named, several } from "./terminal.js";

const decompressHandlers = { zstd: (bytes, size) => zstd.decompress(bytes, Number(size)) };

/**
 * All records before the end or the cut; onFault is told why they end early. Throws when
 * there are none.
 */
export async function* records(path, onFault) {
  await zstd.isLoaded;
  const reader = new McapStreamReader({ decompressHandlers });
  let fault;
  let isRecording = false;
  try {
    for await (const bytes of createReadStream(path, { highWaterMark: 1 << 20 })) {
      reader.append(bytes);
      for (let record; (record = reader.nextRecord()); isRecording = true) yield record;
    }
    const rest = reader.bytesRemaining();
    if (rest > 0) fault = `it ends ${several(rest, "byte")} behind the last whole record`;
    else if (!reader.done()) fault = "its end is missing";
  } catch (error) {
    if (error.syscall) throw named(error, path);
    fault = error.message;
  }
  if (!isRecording) throw new Error(`${path} is no recording`);
  if (fault) onFault(fault);
}

async function openIndexed(path) {
  await zstd.isLoaded;
  const file = await open(path);
  const { size } = await file.stat();
  const readable = {
    size: async () => BigInt(size),
    read: async (offset, length) => {
      const buffer = Buffer.alloc(Number(length));
      const { bytesRead } = await file.read(buffer, 0, buffer.length, Number(offset));
      if (bytesRead < buffer.length) throw new Error("the file is too short");
      return buffer;
    },
  };
  try {
    return { file, reader: await McapIndexedReader.Initialize({ readable, decompressHandlers }) };
  } catch {
    return { file };
  }
}

/**
 * What came, in the order of time, between two times in nanoseconds: the time, and the
 * fields of Received. Of a file that was cut, all before the cut; onFault is told why.
 */
export async function* received(path, { start, end, onFault }) {
  const { file, reader } = await openIndexed(path);
  try {
    if (reader) {
      for await (const message of reader.readMessages({
        topics: [rawTopic],
        startTime: start,
        endTime: end,
      })) {
        yield { time: message.logTime, ...fromBinary(ReceivedSchema, message.data) };
      }
      return;
    }
  } finally {
    await file.close();
  }
  let raw;
  for await (const record of records(path, onFault)) {
    if (record.type === "Channel" && record.topic === rawTopic) raw = record.id;
    if (record.type !== "Message" || record.channelId !== raw) continue;
    if (record.logTime < (start ?? 0n) || (end !== undefined && record.logTime > end)) continue;
    yield { time: record.logTime, ...fromBinary(ReceivedSchema, record.data) };
  }
}

/** What a recording has, from its index or, without one, from all that can be read. */
export async function inspect(path) {
  const { file, reader } = await openIndexed(path);
  const found = { metadata: [], channels: new Map(), schemas: new Map() };
  const counts = new Map();
  try {
    if (reader) {
      const { statistics } = reader;
      for await (const { name, metadata } of reader.readMetadata()) found.metadata.push([name, metadata]);
      for (const [id, count] of statistics.channelMessageCounts) counts.set(id, Number(count));
      Object.assign(found, { channels: reader.channelsById, schemas: reader.schemasById });
      if (statistics.messageCount > 0n) {
        Object.assign(found, {
          start: statistics.messageStartTime,
          end: statistics.messageEndTime,
        });
      }
    } else {
      for await (const record of records(path, (fault) => (found.fault = fault))) {
        if (record.type === "Metadata") found.metadata.push([record.name, record.metadata]);
        if (record.type === "Channel") found.channels.set(record.id, record);
        if (record.type === "Schema") found.schemas.set(record.id, record);
        if (record.type !== "Message") continue;
        counts.set(record.channelId, (counts.get(record.channelId) ?? 0) + 1);
        const time = record.logTime;
        if (found.start === undefined || time < found.start) found.start = time;
        if (found.end === undefined || time > found.end) found.end = time;
      }
    }
  } finally {
    await file.close();
  }
  const channels = [...found.channels.values()].map((channel) => ({
    topic: channel.topic,
    schema: found.schemas.get(channel.schemaId)?.name,
    messages: counts.get(channel.id) ?? 0,
  }));
  channels.sort((a, b) => (a.topic < b.topic ? -1 : 1));
  return {
    fault: found.fault,
    start: found.start,
    end: found.end,
    envelopes: channels.find((channel) => channel.topic === rawTopic)?.messages ?? 0,
    channels: channels.filter((channel) => channel.topic !== rawTopic),
    metadata: Object.fromEntries(found.metadata.map(([name, entries]) => [name, Object.fromEntries(entries)])),
  };
}
