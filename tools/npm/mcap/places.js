// Where envelopes come from and go to: UDP and MQTT brokers.
import { createSocket } from "node:dgram";
import { lookup } from "node:dns/promises";
import { existsSync, readFileSync, readdirSync, readlinkSync } from "node:fs";
import { named } from "./terminal.js";

/** The command line makes no sense. */
export class WrongUse extends Error {}

export const brokerOptions = {
  user: { type: "string" },
  "password-file": { type: "string" },
  ca: { type: "string" },
};

function checkPort(port, text) {
  if (!/^\d{1,5}$/.test(port) || port < 1 || port > 65535) {
    throw new WrongUse(`${text} has no port from 1 to 65535`);
  }
  return Number(port);
}

/**
 * The parts of "udp:HOST:PORT" and "mqtt:HOST:PORT/TOPIC"; an IPv6 address is between
 * brackets. The host of UDP, and the port and the topic of a broker may be missing.
 */
export function placeOf(text) {
  const [, scheme, host, port, topic] =
    /^(udp|mqtt):(?:(\[[^\]]+\]|[^:/[\]]+)(?::|$|(?=\/)))?([^/:]*)(?:\/(.*))?$/s.exec(text) ?? [];
  const bare = host?.replace(/^\[|\]$/g, "");
  if (scheme === "udp" && topic === undefined) {
    // A port alone looks like a host.
    return port === "" && host
      ? { scheme, port: checkPort(host, text) }
      : { scheme, host: bare, port: checkPort(port, text) };
  }
  if (scheme === "mqtt" && host) {
    return {
      scheme,
      host: bare,
      port: port ? checkPort(port, text) : undefined,
      topic: topic || undefined,
    };
  }
  throw new WrongUse(`${text} is none of udp:PORT, udp:HOST:PORT and mqtt:HOST:PORT/TOPIC`);
}

const addressOf = ({ address, port }) => `${address.includes(":") ? `[${address}]` : address}:${port}`;

async function resolve(host) {
  const { address, family } = await lookup(host);
  return { address, type: `udp${family}`, isMulticast: /^(22[4-9]|23\d)\.|^ff/i.test(address) };
}

/** Calls back with the fields of Received of each datagram. */
async function listenUdp({ host, port }, use, { onTrouble }) {
  const { address, type, isMulticast } = await resolve(host ?? "0.0.0.0");
  // Of a group, each gets all; of anything else, it would take the datagrams from a
  // node that listens.
  const socket = createSocket({ type, reuseAddr: isMulticast });
  await new Promise((resolve, reject) => {
    socket.once("error", reject);
    socket.bind(port, address, resolve);
  });
  socket.on("error", (error) => onTrouble(error.message));
  if (isMulticast) socket.addMembership(address);
  try {
    socket.setRecvBufferSize(8 << 20); // As much of it as the system allows.
  } catch {
    // It has its own size then, and what overflows it is counted.
  }
  const destination = addressOf(socket.address());
  socket.on("message", (data, from) => use({ transport: "udp", source: addressOf(from), destination, data }));
  return () => new Promise((resolve) => socket.close(resolve));
}

/**
 * Datagrams that the system dropped because this process did not read in time. Nothing
 * on systems that do not tell.
 */
export function systemDrops() {
  if (process.platform !== "linux") return undefined;
  const own = new Set();
  for (const name of readdirSync("/proc/self/fd")) {
    try {
      own.add(/^socket:\[(\d+)\]$/.exec(readlinkSync(`/proc/self/fd/${name}`))?.[1]);
    } catch {
      // The descriptor of the folder itself is closed by now.
    }
  }
  let drops = 0;
  for (const file of ["/proc/net/udp", "/proc/net/udp6"].filter(existsSync)) {
    for (const line of readFileSync(file, "utf8").split("\n").slice(1)) {
      const columns = line.trim().split(/\s+/);
      if (own.has(columns[9])) drops += Number(columns.at(-1));
    }
  }
  return drops;
}

function contentsOf(path) {
  try {
    return readFileSync(path, "utf8");
  } catch (error) {
    throw named(error, path);
  }
}

async function connect({ host, port }, options, reconnectPeriod) {
  const mqtt = (await import("mqtt")).default;
  const password = options["password-file"];
  const isSecure = options.ca !== undefined;
  return mqtt.connectAsync(
    {
      host,
      port: port ?? (isSecure ? 8883 : 1883),
      protocol: isSecure ? "mqtts" : "mqtt",
      ca: isSecure ? contentsOf(options.ca) : undefined,
      username: options.user,
      password: password && contentsOf(password).split("\n")[0],
      reconnectPeriod,
      connectTimeout: 20_000,
    },
    false,
  );
}

// A broker that no longer answers is not waited for.
async function disconnect(client) {
  let timer;
  const late = new Promise((resolve) => (timer = setTimeout(resolve, 500)));
  await Promise.race([client.endAsync(), late]);
  clearTimeout(timer);
  client.stream.destroy();
}

async function listenMqtt(place, use, { onTrouble, ...options }) {
  if (!place.topic) throw new WrongUse("a broker needs a topic, as in mqtt:localhost/zorvik/#");
  const client = await connect(place, options, 1000);
  const source = `${place.host}:${client.options.port}`;
  client.on("message", (topic, data, packet) =>
    use({ transport: "mqtt", source, destination: topic, data, retained: packet.retain }),
  );
  let isGone = false;
  client.on("close", () => {
    if (!isGone) onTrouble(`${source}: the connection is gone`, true);
    isGone = true;
  });
  client.on("connect", () => {
    isGone = false;
    onTrouble(`${source}: connected again`);
  });
  client.on("error", () => {}); // While the broker is away, each attempt has one.
  await client.subscribeAsync(place.topic, { qos: 1 });
  return async () => {
    client.removeAllListeners("close");
    await disconnect(client);
  };
}

/**
 * Listens at a place. Calls back with the fields of Received; onTrouble is told when a
 * connection is gone. Returns what ends it.
 */
export const listen = (place, use, options) => (place.scheme === "udp" ? listenUdp : listenMqtt)(place, use, options);

/** The first SIGINT or SIGTERM. The same signal again ends the process. */
export const stopSignal = () => new Promise((resolve) => process.once("SIGINT", resolve).once("SIGTERM", resolve));

/** What a place gives when it is ready; throws when the signal comes first. */
export function beforeSignal(signal, ready) {
  const early = signal.then(() => {
    throw new Error("stopped while it connected");
  });
  return Promise.race([ready, early]);
}

async function sendUdp({ host, port }) {
  const { address, type } = await resolve(host ?? "127.0.0.1");
  const socket = createSocket(type);
  // What comes back, such as that nobody listens, is told by the next call.
  let error;
  socket.on("error", (what) => (error = what));
  await new Promise((resolve, reject) => {
    socket.once("error", reject);
    socket.connect(port, address, resolve);
  });
  socket.removeAllListeners("error").on("error", (what) => (error = what));
  return {
    send: (received) =>
      new Promise((resolve, reject) => {
        if (error) {
          reject(error);
          error = undefined;
          return;
        }
        socket.send(received.data, (what) => (what ? reject(what) : resolve()));
      }),
    close: () => new Promise((resolve) => socket.close(resolve)),
  };
}

async function sendMqtt(place, options) {
  const client = await connect(place, options, 0);
  const waiting = new Set(); // What rejects the promises of publications.
  let gone;
  client.on("error", (error) => (gone = error));
  client.on("close", () => {
    gone ??= new Error("the connection is gone");
    waiting.forEach((reject) => reject(gone));
  });
  return {
    async send(received) {
      const topic = place.topic ?? (received.transport === "mqtt" ? received.destination : undefined);
      if (!topic) throw new Error("it came over UDP: name a topic, as in mqtt:localhost/zorvik/replay");
      if (gone) throw gone;
      let fail;
      await new Promise((resolve, reject) => {
        waiting.add((fail = reject));
        client.publishAsync(topic, Buffer.from(received.data), { qos: 1 }).then(resolve, reject);
      }).finally(() => waiting.delete(fail));
    },
    close: () => disconnect(client),
  };
}

/** A place to send to: send() throws when something could not be sent. */
export const sender = (place, options) => (place.scheme === "udp" ? sendUdp : sendMqtt)(place, options);
