// zorvik-mcap recover: a whole file out of one that was cut.
import { WrongUse } from "./places.js";
import { records } from "./reader.js";
import { library, rawTopic } from "./recording.js";
import { say, several } from "./terminal.js";
import { createFile, Writer } from "./writer.js";

export const help = `Usage: zorvik-mcap recover FILE -o FILE

Writes a whole recording with all that can be read of one that was cut. What cannot be
read is told on standard error, and the exit status is 0.

  -o, --output FILE         a new file

Examples:
  zorvik-mcap recover cut.mcap -o flight.mcap
`;

export const options = { output: { type: "string", short: "o" } };

/** Writes what can be read into a new file. Returns how much that is, and why no more. */
export async function recover(path, createOutput) {
  let fault = "none";
  const all = records(path, (reason) => (fault = reason));
  await all.next(); // The header. Throws when it is no recording, before there is a file.
  const writer = new Writer(await createOutput());
  await writer.start(library);
  const schemas = new Map();
  const channels = new Map();
  let envelopes = 0;
  for await (const record of all) {
    if (record.type === "Metadata") {
      await writer.addMetadata(record.name, Object.fromEntries(record.metadata));
    } else if (record.type === "Schema" && !schemas.has(record.id)) {
      schemas.set(record.id, writer.addSchema(record));
    } else if (record.type === "Channel" && !channels.has(record.id)) {
      const id = writer.addChannel({ ...record, schemaId: schemas.get(record.schemaId) });
      channels.set(record.id, { id, isRaw: record.topic === rawTopic });
    } else if (record.type === "Message") {
      const { id, isRaw } = channels.get(record.channelId);
      writer.addMessage({ ...record, channelId: id });
      if (isRaw) ++envelopes;
      if (writer.isFull) await writer.flush();
    }
  }
  await writer.flush();
  await writer.addMetadata("zorvik.recovery", { envelopes, fault });
  await writer.end();
  return { envelopes, fault };
}

export async function run(values, positionals) {
  if (positionals.length !== 1) throw new WrongUse("recover takes a file");
  if (!values.output) throw new WrongUse("recover needs -o FILE");
  const [path] = positionals;
  const { envelopes, fault } = await recover(path, () => createFile(values.output));
  if (fault !== "none") say(`${path}: ${fault}`);
  console.log(`${values.output}: ${several(envelopes, "envelope")}`);
  return 0;
}
