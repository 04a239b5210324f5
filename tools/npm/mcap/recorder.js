// Stands between what arrives and a file that may be slow: keeps a bounded queue,
// and counts what does not fit into it.
import { performance } from "node:perf_hooks";
import { library, Recording } from "./recording.js";
import { Writer } from "./writer.js";

const flushInterval = 1000; // Milliseconds.
const overhead = 200; // Bytes that an envelope takes beside its data, roughly.

/** Nanoseconds since 1970: the system clock at the start, and then no jumps. */
export function startClock() {
  const micros = Math.round((performance.timeOrigin + performance.now()) * 1000);
  const base = BigInt(micros) * 1000n - process.hrtime.bigint();
  return () => base + process.hrtime.bigint();
}

export class Recorder {
  #writer;
  #recording;
  #queue = [];
  #queued = 0; // Bytes.
  #limit;
  #arrived = 0;
  #kept = 0; // In closed chunks.
  #unsafe = 0; // In the chunk that is being filled.
  #wake = () => {};
  #due = false;
  #ended = false;
  #run;
  /** The error that has ended the writing. */
  failure;

  constructor(limit = 64 << 20) {
    this.#limit = limit;
  }

  /** Writes what was taken, and what will be. Calls back when that is no longer possible. */
  async start(file, metadata, onFailure = () => {}) {
    this.#writer = new Writer(file);
    await this.#writer.start(library);
    await this.#writer.addMetadata("zorvik.recording", metadata);
    this.#recording = new Recording(this.#writer);
    this.#run = this.#write().catch((error) => {
      this.failure = error;
      onFailure(error);
    });
  }

  /** All that arrived, and how many of them are in the file. */
  get counts() {
    return { received: this.#arrived, kept: this.#kept };
  }

  /** Takes what has arrived; when the queue is full, only counts it. */
  take(time, received) {
    ++this.#arrived;
    const size = received.data.length + overhead;
    if (this.failure || this.#ended || this.#queued + size > this.#limit) return;
    this.#queued += size;
    this.#queue.push([time, received]);
    this.#wake();
  }

  /** Writes what is queued and closes the file. Returns what the metadata says. */
  async end(metadata = {}) {
    this.#ended = true;
    this.#wake();
    await this.#run;
    const counts = {
      ...this.#recording.counts,
      ...this.counts,
      notKept: this.#arrived - this.#kept,
    };
    const entries = { ...counts, ...metadata };
    if (this.failure) return entries;
    try {
      await this.#writer.addMetadata("zorvik.end", entries);
      await this.#writer.end();
    } catch (error) {
      this.failure = error;
    }
    return entries;
  }

  async #write() {
    const timer = setInterval(() => {
      this.#due = true;
      this.#wake();
    }, flushInterval);
    try {
      while (!this.#ended || this.#queue.length > 0) {
        if (this.#queue.length === 0 && !this.#due && !this.#ended) {
          await new Promise((resolve) => (this.#wake = resolve));
        }
        const batch = this.#queue;
        this.#queue = [];
        for (const [time, received] of batch) {
          this.#recording.add(time, received);
          ++this.#unsafe;
          this.#queued -= received.data.length + overhead;
          if (this.#writer.isFull) await this.#flush();
        }
        if (this.#due) await this.#flush();
      }
      await this.#flush();
    } finally {
      clearInterval(timer);
    }
  }

  async #flush() {
    this.#due = false;
    await this.#writer.flush();
    this.#kept += this.#unsafe;
    this.#unsafe = 0;
  }
}
