// zorvik-mcap replay: what was recorded, as it came.
import { setImmediate, setTimeout } from "node:timers/promises";
import { meantTopics, readEnvelope } from "./envelope.js";
import { beforeSignal, brokerOptions, placeOf, sender, stopSignal, WrongUse } from "./places.js";
import { inspect, received } from "./reader.js";
import { say, several, showProgress } from "./terminal.js";

export const help = `Usage: zorvik-mcap replay FILE PLACE [OPTION...]

Sends the same bytes in the same order with the original spacing.

  udp:HOST:PORT             each in a datagram
  mqtt:HOST[:PORT]/TOPIC    each in a publication
  mqtt:HOST[:PORT]          publications, to the topics they came from

  --speed NUMBER            so many times as fast
  --fast                    as fast as possible
  --from NODE               envelopes that this node sent; may be repeated
  --to NODE                 envelopes to this node; may be repeated
  --topic NAME              envelopes of this topic type: its name, everything behind
                            _TYPE_ of the name, or its number; may be repeated
  --start TIME              not what came before: seconds since the first one, or
                            a time such as 2026-11-21T10:00:00Z
  --end TIME                not what came after
  --user NAME, --password-file FILE, --ca FILE
                            as of zorvik-mcap record

With --from, --to or --topic, what is no envelope of the channel is left out. When
nothing is left to send, the exit status is 1.

Examples:
  zorvik-mcap replay flight.mcap udp:127.0.0.1:14550
  zorvik-mcap replay flight.mcap udp:127.0.0.1:14550 --from 9 --topic GIMBAL_ROTATE
  zorvik-mcap replay flight.mcap mqtt:localhost --speed 4 --start 60 --end 120
`;

export const options = {
  speed: { type: "string" },
  fast: { type: "boolean" },
  from: { type: "string", multiple: true },
  to: { type: "string", multiple: true },
  topic: { type: "string", multiple: true },
  start: { type: "string" },
  end: { type: "string" },
  ...brokerOptions,
};

const mostPending = 100;

/** Waits until an envelope of a time in nanoseconds is due, or it is stopped. */
export function pace(speed, isStopped = () => false, timer = {}) {
  const { now = () => performance.now(), sleep = setTimeout, turn = setImmediate } = timer;
  let first, begin;
  return async (time) => {
    first ??= time;
    begin ??= now();
    const due = begin + Number(time - first) / 1e6 / speed;
    for (let left; (left = due - now()) > 0 && !isStopped();) {
      // A timer may be late by a millisecond.
      await (left > 2 ? sleep(Math.min(left - 1, 100)) : turn());
    }
  };
}

function nodes(list = [], name) {
  return list.map((text) => {
    if (!/^-?\d+$/.test(text)) throw new WrongUse(`--${name} takes the number of a node, not ${text}`);
    return Number(text);
  });
}

/** A function that tells whether the bytes are to be sent. */
export function filterOf(values) {
  const from = nodes(values.from, "from");
  const to = nodes(values.to, "to");
  const topics = (values.topic ?? []).flatMap((text) => {
    const meant = meantTopics(text);
    if (meant.length === 0) throw new WrongUse(`no topic type is called ${text}`);
    return meant;
  });
  if (from.length + to.length + topics.length === 0) return () => true;
  const has = (list, value) => list.length === 0 || list.includes(value);
  return (bytes) => {
    const envelope = readEnvelope(bytes);
    if (envelope?.node === undefined) return false;
    return has(from, envelope.node) && has(to, envelope.destination) && has(topics, envelope.topic);
  };
}

// A time in nanoseconds since 1970.
function timeOf(text, name, first) {
  if (text === undefined) return undefined;
  if (/^\d+(\.\d+)?$/.test(text)) return (first ?? 0n) + BigInt(Math.round(Number(text) * 1e9));
  const milliseconds = /^\d{4}-/.test(text) ? Date.parse(text) : NaN;
  if (Number.isNaN(milliseconds)) throw new WrongUse(`--${name} takes seconds or a time, not ${text}`);
  return BigInt(milliseconds) * 1_000_000n;
}

export async function run(values, positionals) {
  if (positionals.length !== 2) throw new WrongUse("replay takes a file and a place");
  const [path, place] = [positionals[0], placeOf(positionals[1])];
  if (place.scheme === "udp" && !place.host) throw new WrongUse("replay needs a host, as in udp:127.0.0.1:14550");
  if (place.scheme === "mqtt" && /[+#]/.test(place.topic ?? "")) {
    throw new WrongUse(`${place.topic} has a wildcard and is no topic to publish to`);
  }
  const speed = values.fast ? Infinity : Number(values.speed ?? 1);
  if (!(speed > 0)) throw new WrongUse("--speed takes a number above 0");
  if (values.fast && values.speed !== undefined) throw new WrongUse("--fast goes without --speed");
  const isWanted = filterOf(values);
  for (const name of ["start", "end"]) timeOf(values[name], name);

  const { start: first } = values.start || values.end ? await inspect(path) : {};
  let stopped = false;
  const signal = stopSignal();
  signal.then(() => (stopped = true));
  let result = 0;
  const target = await beforeSignal(signal, sender(place, values));
  const until = pace(speed, () => stopped);
  const pending = new Set();
  const failures = new Map();
  let [all, failed] = [0, 0];
  const endProgress = showProgress(() => `${several(all, "envelope")} sent`);
  const send = async (envelope) => {
    try {
      await target.send(envelope);
    } catch (error) {
      ++failed;
      failures.set(error.message, (failures.get(error.message) ?? 0) + 1);
    }
  };
  const range = {
    start: timeOf(values.start, "start", first),
    end: timeOf(values.end, "end", first),
    onFault: (fault) => {
      say(`${path}: ${fault}; replayed is what is before`);
      result = 1;
    },
  };
  for await (const envelope of received(path, range)) {
    if (stopped) break;
    if (!isWanted(envelope.data)) continue;
    await until(envelope.time);
    if (stopped) break;
    ++all;
    const sent = send(envelope).finally(() => pending.delete(sent));
    pending.add(sent);
    if (pending.size >= mostPending) await Promise.race(pending);
  }
  const allSent = Promise.all(pending);
  await Promise.race([allSent, signal.then(() => setTimeout(500))]);
  await target.close(); // Ends what a silent broker has not confirmed.
  await allSent;
  endProgress();
  for (const [reason, count] of failures) say(`${count} of ${several(all, "envelope")} could not be sent: ${reason}`);
  if (stopped) say(`stopped after ${several(all, "envelope")}`);
  else if (all === 0) {
    const isChosen = ["from", "to", "topic", "start", "end"].some((name) => values[name] !== undefined);
    say(`${path}: nothing was sent: ${isChosen ? "the options choose none of its envelopes" : "it has no envelopes"}`);
  }
  return stopped || failed > 0 || all === 0 ? 1 : result;
}
