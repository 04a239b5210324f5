// The UDP datagrams of pcap and pcapng files.
import { createReadStream } from "node:fs";
import { SocketAddress } from "node:net";

const mostPacket = 1 << 24; // Bytes; more is a broken file.

// The bytes of a file, in the pieces that somebody asks for.
class Source {
  #chunks;
  #buffer = Buffer.alloc(0);

  constructor(path) {
    this.#chunks = createReadStream(path, { highWaterMark: 1 << 20 })[Symbol.asyncIterator]();
  }

  /** That many bytes; less at the end of the file. */
  async read(size) {
    while (this.#buffer.length < size) {
      const { done, value } = await this.#chunks.next();
      if (done) break;
      this.#buffer = Buffer.concat([this.#buffer, value]);
    }
    const bytes = this.#buffer.subarray(0, size);
    this.#buffer = this.#buffer.subarray(size);
    return bytes;
  }

  /** That many bytes, or nothing at the end of the file. Throws when it ends between. */
  async readAll(size) {
    if (size > mostPacket) throw new Error("a length is too long");
    const bytes = await this.read(size);
    if (bytes.length > 0 && bytes.length < size) throw new Error("the file ends within it");
    return bytes.length === size ? bytes : undefined;
  }
}

// Numbers of either byte order.
const numbers = (isBig) => ({
  u16: (bytes, at) => (isBig ? bytes.readUInt16BE(at) : bytes.readUInt16LE(at)),
  u32: (bytes, at) => (isBig ? bytes.readUInt32BE(at) : bytes.readUInt32LE(at)),
});

async function* pcapPackets(source, magic) {
  const isBig = magic.readUInt32BE() >>> 16 === 0xa1b2;
  const { u32 } = numbers(isBig);
  const unit = u32(magic, 0) === 0xa1b23c4d ? 1n : 1000n;
  const header = await source.readAll(20);
  if (!header) throw new Error("the file ends within its header");
  const link = u32(header, 16) & 0x03ffffff;
  for (let head; (head = await source.readAll(16));) {
    const time = BigInt(u32(head, 0)) * 1_000_000_000n + BigInt(u32(head, 4)) * unit;
    const packet = await source.readAll(u32(head, 8));
    if (!packet) throw new Error("the file ends within it");
    yield { time, link, packet };
  }
}

// The options of a pcapng block by their numbers.
function optionsOf(bytes, { u16 }) {
  const options = new Map();
  for (let at = 0; at + 4 <= bytes.length && u16(bytes, at) !== 0;) {
    const size = u16(bytes, at + 2);
    options.set(u16(bytes, at), bytes.subarray(at + 4, at + 4 + size));
    at += 4 + ((size + 3) & ~3);
  }
  return options;
}

function interfaceOf(body, number) {
  const options = optionsOf(body.subarray(8), number);
  const resolution = options.get(9)?.[0] ?? 6;
  const ticks = resolution & 0x80 ? 2n ** BigInt(resolution & 0x7f) : 10n ** BigInt(resolution);
  const offset = options.get(14);
  const seconds = offset?.length === 8 ? BigInt(number.u32(offset, 0)) | (BigInt(number.u32(offset, 4)) << 32n) : 0n;
  return { link: number.u16(body, 0), ticks, offset: BigInt.asIntN(64, seconds) * 1_000_000_000n };
}

async function* pcapngPackets(source, magic) {
  let number;
  let interfaces = [];
  for (let type = magic; type; type = await source.readAll(4)) {
    const isSection = type.readUInt32BE() === 0x0a0d0d0a;
    const head = await source.readAll(isSection ? 8 : 4);
    if (!head) throw new Error("the file ends within it");
    if (isSection) {
      const isBig = head.readUInt32BE(4) === 0x1a2b3c4d;
      if (!isBig && head.readUInt32LE(4) !== 0x1a2b3c4d) throw new Error("a section without its byte order");
      number = numbers(isBig);
      interfaces = [];
    }
    const length = number.u32(head, 0);
    const rest = length - 4 - head.length;
    if (rest < 4 || length % 4 !== 0) throw new Error("a block has a wrong length");
    const block = await source.readAll(rest);
    if (!block) throw new Error("the file ends within it");
    const body = block.subarray(0, -4);
    const kind = number.u32(type, 0);
    if (kind === 1) interfaces.push(interfaceOf(body, number));
    if (kind !== 3 && kind !== 6) continue; // Not a packet.
    const from = interfaces[kind === 6 ? number.u32(body, 0) : 0];
    if (!from) throw new Error("a packet of an interface that is not described");
    if (kind === 3) {
      yield { time: 0n, link: from.link, packet: body.subarray(4, 4 + number.u32(body, 0)) };
      continue;
    }
    const ticks = (BigInt(number.u32(body, 4)) << 32n) | BigInt(number.u32(body, 8));
    const size = number.u32(body, 12);
    if (size > body.length - 20) throw new Error("a packet is longer than its block");
    const time = from.offset + (ticks * 1_000_000_000n) / from.ticks;
    yield { time, link: from.link, packet: body.subarray(20, 20 + size) };
  }
}

const ipv4 = 0x0800;
const ipv6 = 0x86dd;

// Where the IP packet begins that is behind an Ethernet type.
function behindType(packet, size, typeAt) {
  if (packet.length < size) return undefined;
  let type = packet.readUInt16BE(typeAt);
  for (; type === 0x8100 || type === 0x88a8; size += 4) {
    // In a virtual LAN.
    if (packet.length < size + 4) return undefined;
    type = packet.readUInt16BE(size + 2);
  }
  return type === ipv4 || type === ipv6 ? size : undefined;
}

// By link type: where the IP packet begins, or nothing.
const links = new Map([
  [0, () => 4], // The loopback of other systems.
  [108, () => 4],
  [1, (packet) => behindType(packet, 14, 12)], // Ethernet.
  [113, (packet) => behindType(packet, 16, 14)], // All interfaces of Linux.
  [276, (packet) => behindType(packet, 20, 0)],
  ...[12, 14, 101, 228, 229].map((link) => [link, () => 0]), // No more than IP.
]);

// What is in an IP packet: its protocol, the addresses, whether it is behind the first
// fragment, and the data.
function ipOf(packet) {
  const version = packet[0] >> 4;
  if (version === 4) {
    const size = (packet[0] & 15) * 4;
    if (size < 20 || packet.length < size) return undefined;
    const address = (at) => packet.subarray(at, at + 4).join(".");
    return {
      protocol: packet[9],
      isLater: (packet.readUInt16BE(6) & 0x1fff) !== 0,
      source: address(12),
      destination: address(16),
      data: packet.subarray(size),
    };
  }
  if (version !== 6 || packet.length < 40) return undefined;
  const address = (at) => {
    const groups = packet
      .toString("hex", at, at + 16)
      .match(/..../g)
      .join(":");
    return `[${new SocketAddress({ address: groups, family: "ipv6" }).address}]`;
  };
  const found = { protocol: packet[6], isLater: false, data: packet.subarray(40) };
  Object.assign(found, { source: address(8), destination: address(24) });
  // Options of hops, routing, fragments and options of the destination.
  while (!found.isLater && [0, 43, 44, 60].includes(found.protocol)) {
    const { data, protocol } = found;
    const size = protocol === 44 || data.length < 2 ? 8 : data[1] * 8 + 8;
    if (data.length < size) return undefined;
    if (protocol === 44) found.isLater = (data.readUInt16BE(2) & 0xfff8) !== 0;
    found.protocol = data[0];
    found.data = data.subarray(size);
  }
  return found;
}

/** The packets of a capture. Throws where it is broken or of an unknown link type. */
export async function* packets(path) {
  const source = new Source(path);
  const magic = await source.read(4);
  const number = magic.length === 4 ? magic.readUInt32BE() : 0;
  const isPcap = [0xa1b2c3d4, 0xd4c3b2a1, 0xa1b23c4d, 0x4d3cb2a1].includes(number);
  if (!isPcap && number !== 0x0a0d0d0a) throw new Error("is neither pcap nor pcapng");
  let count = 0;
  const all = (isPcap ? pcapPackets : pcapngPackets)(source, magic);
  for (;;) {
    let next;
    try {
      next = await all.next();
    } catch (error) {
      if (error.syscall) throw error;
      throw new Error(`a broken capture: packet ${count + 1}: ${error.message}`);
    }
    if (next.done) return;
    if (!links.has(next.value.link))
      throw new Error(`a capture of the link type ${next.value.link}, which is not read`);
    ++count;
    yield next.value;
  }
}

/**
 * What is in a packet: "datagram" with its addresses, ports, data and whether that is
 * whole, "tcp", "fragment" behind the first one, or "other".
 */
export function datagramOf({ link, packet }) {
  const begin = links.get(link)(packet);
  const ip = begin === undefined || packet.length <= begin ? undefined : ipOf(packet.subarray(begin));
  if (!ip) return { kind: "other" };
  if (ip.protocol === 6) return { kind: "tcp" };
  if (ip.protocol !== 17) return { kind: "other" };
  if (ip.isLater) return { kind: "fragment" };
  const { data } = ip;
  const length = data.length < 8 ? 0 : data.readUInt16BE(4);
  if (length < 8) return { kind: "other" };
  const ports = [data.readUInt16BE(0), data.readUInt16BE(2)];
  return {
    kind: "datagram",
    ports,
    source: `${ip.source}:${ports[0]}`,
    destination: `${ip.destination}:${ports[1]}`,
    isWhole: data.length >= length,
    data: data.subarray(8, length),
  };
}
