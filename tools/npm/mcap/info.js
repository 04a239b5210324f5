// zorvik-mcap info: what a recording has.
import { faultsText } from "./metadata.js";
import { WrongUse } from "./places.js";
import { inspect } from "./reader.js";
import { readable, say, several, timeText } from "./terminal.js";

export const help = `Usage: zorvik-mcap info FILE [--json]

Shows what a recording has: its time, what could not be kept, and how many contents
each node sent under each topic. With --json, as an object.

Examples:
  zorvik-mcap info flight.mcap
  zorvik-mcap info --json flight.mcap | jq .channels
`;

export const options = { json: { type: "boolean" } };

export async function run(values, positionals) {
  if (positionals.length !== 1) throw new WrongUse("info takes a file");
  const [path] = positionals;
  const { fault, start, end, envelopes, channels, metadata } = await inspect(path);
  const seconds = start === undefined ? 0 : Number(end - start) / 1e9;
  if (values.json) {
    const times = start === undefined ? {} : { start: timeText(start), end: timeText(end) };
    console.log(
      JSON.stringify({
        whole: !fault,
        ...(fault && { fault }),
        envelopes,
        seconds,
        ...times,
        channels,
        metadata,
      }),
    );
  } else {
    console.log(readable(`${path}: ${several(envelopes, "envelope")}, ${seconds.toFixed(3)} s`));
    if (start !== undefined) console.log(`from ${timeText(start)} to ${timeText(end)}`);
    const { vocabulary, host, clock, source } = metadata["zorvik.recording"] ?? {};
    if (vocabulary) {
      console.log(readable(`vocabulary ${vocabulary}, host ${host}, from ${source}`));
      console.log(readable(`clock: ${clock}`));
    }
    const { notKept = 0, systemDrops = 0, interruptions = 0, ...counts } = metadata["zorvik.end"] ?? {};
    if (Number(notKept) > 0) console.log(`${notKept} could not be kept`);
    if (Number(systemDrops) > 0) console.log(`${systemDrops} dropped by the system`);
    if (Number(interruptions) > 0) console.log(`${several(Number(interruptions), "interruption")} of the connection`);
    const faults = faultsText(counts);
    if (faults) console.log(`on no channel of its own: ${faults}`);
    const width = Math.max(0, ...channels.map(({ messages }) => String(messages).length));
    for (const { topic, schema, messages } of channels) {
      console.log(readable(`${String(messages).padStart(width)} ${topic}  ${schema}`));
    }
  }
  if (fault) say(`${path}: ${fault}; zorvik-mcap recover repairs it`);
  return fault ? 1 : 0;
}
