// Writes an MCAP file whose chunks are closed when they are told to, so that a file
// which is cut lacks no more than the chunk that was being filled.
import { open } from "node:fs/promises";
import { crc32, crc32Final, crc32Init, crc32Update } from "@foxglove/crc";
import zstd from "@foxglove/wasm-zstd";
import { McapChunkBuilder, McapRecordBuilder, Opcode } from "@mcap/core";

// What a cut takes at most, before compression.
const chunkSize = 128 << 10;

/** A new file. It is an error when there is one of that name. */
export async function createFile(path) {
  const file = await open(path, "wx");
  return {
    append: (bytes) => file.appendFile(bytes),
    truncate: (size) => file.truncate(size),
    close: () => file.close(),
  };
}

export class Writer {
  #file;
  #size = 0;
  #records = new McapRecordBuilder();
  #chunk = new McapChunkBuilder({ useMessageIndex: true });
  #schemas = [];
  #channels = [];
  #used = new Set(); // Schemas and channels that are in the file.
  // Kept as bytes: they grow with the file.
  #chunkIndexes = new McapRecordBuilder();
  #metadataIndexes = new McapRecordBuilder();
  #statistics = {
    messageCount: 0n,
    schemaCount: 0,
    channelCount: 0,
    attachmentCount: 0,
    metadataCount: 0,
    chunkCount: 0,
    messageStartTime: 0n,
    messageEndTime: 0n,
    channelMessageCounts: new Map(),
  };

  constructor(file) {
    this.#file = file;
  }

  async start(library) {
    await zstd.isLoaded;
    this.#records.writeMagic();
    this.#records.writeHeader({ profile: "", library });
    await this.#append();
  }

  /** Whether the chunk is to be closed. */
  get isFull() {
    return this.#chunk.byteLength > chunkSize;
  }

  get channelCount() {
    return this.#channels.length;
  }

  addSchema(schema) {
    const id = this.#schemas.length + 1;
    this.#schemas.push({ ...schema, id });
    return id;
  }

  addChannel(channel) {
    const id = this.#channels.length;
    this.#channels.push({ ...channel, id });
    return id;
  }

  addMessage(message) {
    const channel = this.#channels[message.channelId];
    if (!this.#used.has(channel)) {
      const schema = this.#schemas[channel.schemaId - 1];
      if (!this.#used.has(schema)) this.#chunk.addSchema(schema);
      this.#chunk.addChannel(channel);
      this.#used.add(schema).add(channel);
    }
    this.#chunk.addMessage(message);
    const statistics = this.#statistics;
    const counts = statistics.channelMessageCounts;
    const time = message.logTime;
    const isFirst = statistics.messageCount++ === 0n;
    if (isFirst || time < statistics.messageStartTime) statistics.messageStartTime = time;
    if (isFirst || time > statistics.messageEndTime) statistics.messageEndTime = time;
    counts.set(channel.id, (counts.get(channel.id) ?? 0n) + 1n);
  }

  async addMetadata(name, entries) {
    const metadata = new Map(Object.entries(entries).map(([key, value]) => [key, String(value)]));
    const length = this.#records.writeMetadata({ name, metadata });
    this.#metadataIndexes.writeMetadataIndex({ name, offset: BigInt(this.#size), length });
    ++this.#statistics.metadataCount;
    await this.#append();
  }

  /** Closes the chunk and writes it. */
  async flush() {
    if (this.#chunk.numMessages === 0) return;
    const data = this.#chunk.buffer;
    const chunk = {
      messageStartTime: this.#chunk.messageStartTime,
      messageEndTime: this.#chunk.messageEndTime,
      compression: "zstd",
      uncompressedSize: BigInt(data.length),
    };
    const records = zstd.compress(data);
    const chunkStartOffset = BigInt(this.#size);
    const chunkLength = this.#records.writeChunk({
      ...chunk,
      uncompressedCrc: crc32(data),
      records,
    });
    const messageIndexOffsets = new Map();
    for (const index of this.#chunk.indices) {
      messageIndexOffsets.set(index.channelId, chunkStartOffset + BigInt(this.#records.length));
      this.#records.writeMessageIndex(index);
    }
    this.#chunkIndexes.writeChunkIndex({
      ...chunk,
      chunkStartOffset,
      chunkLength,
      messageIndexOffsets,
      messageIndexLength: BigInt(this.#records.length) - chunkLength,
      compressedSize: BigInt(records.length),
    });
    ++this.#statistics.chunkCount;
    this.#chunk.reset();
    await this.#append();
  }

  /** Closes the file, with an index of what it has. */
  async end() {
    await this.flush();
    this.#records.writeDataEnd({ dataSectionCrc: 0 });
    await this.#append();

    const summaryStart = BigInt(this.#size);
    const groups = [];
    const group = (groupOpcode, write) => {
      const start = this.#records.length;
      write();
      const groupLength = BigInt(this.#records.length - start);
      if (groupLength > 0n) groups.push({ groupOpcode, groupStart: summaryStart + BigInt(start), groupLength });
    };
    const schemas = this.#schemas.filter((schema) => this.#used.has(schema));
    const channels = this.#channels.filter((channel) => this.#used.has(channel));
    const statistics = {
      ...this.#statistics,
      schemaCount: schemas.length,
      channelCount: channels.length,
    };
    group(Opcode.SCHEMA, () => schemas.forEach((schema) => this.#records.writeSchema(schema)));
    group(Opcode.CHANNEL, () => channels.forEach((channel) => this.#records.writeChannel(channel)));
    group(Opcode.STATISTICS, () => this.#records.writeStatistics(statistics));
    let crc = crc32Update(crc32Init(), this.#records.buffer);
    await this.#append();
    for (const [opcode, index] of [
      [Opcode.METADATA_INDEX, this.#metadataIndexes],
      [Opcode.CHUNK_INDEX, this.#chunkIndexes],
    ]) {
      if (index.length === 0) continue;
      groups.push({
        groupOpcode: opcode,
        groupStart: BigInt(this.#size),
        groupLength: BigInt(index.length),
      });
      crc = crc32Update(crc, index.buffer);
      await this.#append(index);
    }
    const summaryOffsetStart = BigInt(this.#size);
    groups.forEach((group) => this.#records.writeSummaryOffset(group));
    crc = crc32Update(crc, this.#records.buffer);
    await this.#append();

    // The checksum is of the footer, too, up to the checksum.
    const footer = { summaryStart, summaryOffsetStart, summaryCrc: 0 };
    const preview = new McapRecordBuilder();
    preview.writeFooter(footer);
    crc = crc32Update(crc, preview.buffer.subarray(0, -4));
    this.#records.writeFooter({ ...footer, summaryCrc: crc32Final(crc) });
    this.#records.writeMagic();
    await this.#append();
    await this.#file.close();
  }

  // Of what cannot be written, nothing stays in the file.
  async #append(records = this.#records) {
    const bytes = records.buffer;
    records.reset();
    try {
      await this.#file.append(bytes);
    } catch (error) {
      await this.#file.truncate(this.#size).catch(() => {});
      await this.#file.close().catch(() => {});
      throw error;
    }
    this.#size += bytes.length;
  }
}
