// What a recording says of itself.
import os from "node:os";
import { catalogue } from "../catalogue.js";

/** The version of the vocabulary, the host, and whose clock the times are of. */
export const about = (clock, source) => ({
  vocabulary: catalogue.version,
  host: os.hostname(),
  system: `${os.type()} ${os.release()} ${os.arch()}, Node.js ${process.versions.node}`,
  clock,
  source,
  begun: new Date().toISOString(),
});

// What is told of the contents that are on no channel of their own.
const faults = {
  noEnvelope: "no envelope",
  noContent: "without content",
  unknownContent: "with content that the schemas do not have",
  malformedContent: "with malformed content",
  tooManyChannels: "of more nodes and topics than have channels",
};

/** Counts of a recording in words, such as "2 no envelope, 1 without content". */
export const faultsText = (counts) =>
  Object.entries(faults)
    .filter(([key]) => Number(counts[key]) > 0)
    .map(([key, text]) => `${counts[key]} ${text}`)
    .join(", ");
