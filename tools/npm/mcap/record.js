// zorvik-mcap record: what arrives, into a file.
import { setTimeout as sleep } from "node:timers/promises";
import { about } from "./metadata.js";
import { beforeSignal, brokerOptions, listen, placeOf, stopSignal, systemDrops, WrongUse } from "./places.js";
import { Recorder, startClock } from "./recorder.js";
import { say, several, showProgress } from "./terminal.js";
import { createFile } from "./writer.js";

export const help = `Usage: zorvik-mcap record PLACE... -o FILE [OPTION...]

Records what arrives until SIGINT or SIGTERM. The file is there once it listens.

  udp:PORT, udp:HOST:PORT   datagrams to this host, or to a multicast group
  mqtt:HOST[:PORT]/TOPIC    publications; the topic may have + and #

  -o, --output FILE         a new file
  --for SECONDS             ends after this time, of at most 2147483 s
  --count NUMBER            ends after so many envelopes
  --user NAME               user at the broker
  --password-file FILE      file with the password in its first line
  --ca FILE                 certificates to trust: connects with TLS

Examples:
  zorvik-mcap record udp:14550 -o flight.mcap
  zorvik-mcap record udp:239.0.0.1:14550 mqtt:localhost/zorvik/# -o flight.mcap
`;

export const options = {
  output: { type: "string", short: "o" },
  for: { type: "string" },
  count: { type: "string" },
  ...brokerOptions,
};

const longest = 2147483; // Seconds that a timer can wait.

const clockText = "time at which the recorder read it: the host's clock at the start, and no jumps since";

export async function run(values, places) {
  const seconds = values.for === undefined ? undefined : Number(values.for);
  if (seconds !== undefined && !(seconds > 0 && seconds <= longest)) {
    throw new WrongUse(`--for takes seconds above 0, up to ${longest}`);
  }
  const most = values.count === undefined ? Infinity : Number(values.count);
  if (values.count !== undefined && !(Number.isInteger(most) && most > 0)) {
    throw new WrongUse("--count takes a whole number above 0");
  }
  const targets = places.map(placeOf);
  if (targets.length === 0) throw new WrongUse("record needs a place");
  if (!values.output) throw new WrongUse("record needs -o FILE");

  let stop;
  const stopped = new Promise((resolve) => (stop = resolve));
  const signal = stopSignal();
  signal.then(stop);
  const recorder = new Recorder();
  const now = startClock();
  const begin = now();
  let interruptions = 0;
  const use = (received) => {
    if (recorder.counts.received >= most) return;
    recorder.take(now(), received);
    if (recorder.counts.received >= most) stop();
  };
  const onTrouble = (text, isGone) => {
    if (isGone) ++interruptions;
    say(text);
  };
  const ends = [];
  for (const place of targets) ends.push(await beforeSignal(signal, listen(place, use, { ...values, onTrouble })));
  const file = await createFile(values.output);
  await recorder.start(file, about(clockText, places.join(" ")), stop);

  const endProgress = showProgress(
    () => `${several(recorder.counts.received, "envelope")}, ${recorder.counts.kept} in the file`,
  );
  if (seconds) setTimeout(stop, seconds * 1000).unref();
  await stopped;
  // What waits in the sockets arrived before the end.
  for (let before = -1, tries = 0; before !== recorder.counts.received && tries < 20; ++tries) {
    before = recorder.counts.received;
    await sleep(100);
  }
  const drops = systemDrops();
  await Promise.all(ends.map((end) => end()));
  const counts = await recorder.end({
    systemDrops: drops ?? "unknown",
    interruptions,
    ended: new Date().toISOString(),
  });
  endProgress();

  if (recorder.failure) say(`${values.output}: ${recorder.failure.message}`);
  if (counts.notKept > 0) say(`${several(counts.notKept, "envelope")} could not be kept`);
  if (drops > 0) say(`dropped by the system before they could be read: ${several(drops, "datagram")}`);
  if (interruptions > 0) say(`${several(interruptions, "interruption")} of the connection to the broker`);
  const duration = (Number(now() - begin) / 1e9).toFixed(1);
  console.log(`${values.output}: ${several(counts.kept, "envelope")} in ${duration} s`);
  return recorder.failure || counts.notKept > 0 || drops > 0 || interruptions > 0 ? 1 : 0;
}
