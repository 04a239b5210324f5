// Reads bytes out of text as logs, sources and tools print them.
//
//   bytesOf(text) has bytes and form, or a fault
globalThis.bytesOf = (() => {
  const fail = (fault) => ({ fault });
  const at = (text, place, what) =>
    fail(`line ${text.slice(0, place).split('\n').length}: ${what}`);

  // Lines of a hex dump: an offset, bytes in hex, characters behind two blanks,
  // a bar or a colon.
  const DUMP = /^\s*(?:0x)?([0-9a-f]{4,16})(:?)(?:\s+((?:(?:[0-9a-f]{2})+ ?)*)(?:\s.*|\|.*)?)?$/i;

  function fromDump(text) {
    const all = text.split('\n').filter((line) => line.trim());
    // Above the bytes of a packet, tcpdump says what it is.
    const lines = all.slice(Math.max(0, all.findIndex((line) => /^\s*0x0000:/.test(line))));
    const read = lines.map((line) => DUMP.exec(line.replace(/\r/, '')));
    if (!read.every(Boolean) || !read.some(([, , , hex]) => hex?.trim())) return null;
    const bytes = [];
    const first = parseInt(read[0][1], 16);
    // A line alone may as well be hex in groups.
    if (read.length === 1 && first && !read[0][2]) return null;
    for (const [, offset, , hex = ''] of read) {
      // Any other offset says that the columns are no offsets.
      if (parseInt(offset, 16) - first !== bytes.length) return null;
      for (const pair of hex.match(/[0-9a-f]{2}/gi) ?? []) bytes.push(parseInt(pair, 16));
    }
    return { bytes, form: 'a hex dump' };
  }

  const ESCAPES = { a: 7, b: 8, f: 12, n: 10, r: 13, t: 9, v: 11 };

  // A literal of C or Python, or several in a row.
  function fromLiteral(text) {
    const bytes = [];
    for (const [, , inside] of text.matchAll(/(["'])((?:\\[^]|(?!\1)[^\\])*)\1/g)) {
      for (const [, escape, plain] of inside.matchAll(
          /\\(x[0-9a-f]{1,2}|[0-7]{1,3}|[^])|([^\\]+)/gi)) {
        if (plain) bytes.push(...new TextEncoder().encode(plain));
        else if (/^x[0-9a-f]/i.test(escape)) bytes.push(parseInt(escape.slice(1), 16));
        else if (/^[0-7]/.test(escape)) bytes.push(parseInt(escape, 8) & 255);
        else bytes.push(ESCAPES[escape] ?? escape.charCodeAt(0));
      }
    }
    return { bytes, form: 'a literal' };
  }

  function fromHex(text) {
    const open = text.indexOf('{');
    const list = open >= 0 && text.includes('}', open) ?
      text.slice(open + 1, text.lastIndexOf('}')) : text;
    const code = list.replace(/\/\*[^]*?\*\/|\/\/.*/g, ' ');
    const bytes = [];
    let end = 0;
    for (const word of code.matchAll(/[^\s,;:[\]\-]+/g)) {
      end = word.index + word[0].length;
      const digits = word[0].replace(/0x|\\x/gi, (prefix) =>
        prefix === word[0].slice(0, 2) ? '' : ' ').split(' ');
      for (const run of digits) {
        const bad = /[^0-9a-f]/i.exec(run);
        if (bad) return at(text, text.indexOf(word[0]), `“${bad[0]}” is no hex digit`);
        const prefixed = /^(0x|\\x)/i.test(word[0]);
        if (run.length % 2 && !(prefixed && run.length === 1)) {
          return at(text, text.indexOf(word[0]), `“${word[0].slice(-20)}” ends inside a byte`);
        }
        for (let i = 0; i < run.length; i += 2) {
          bytes.push(parseInt(run.slice(i, i + 2), 16));
        }
      }
    }
    return end ? { bytes, form: open >= 0 ? 'an array' : 'hex' } : fail('no bytes');
  }

  function fromBase64(text) {
    const letters = text.replace(/\s/g, '').replace(/-/g, '+').replace(/_/g, '/');
    if (!/^[a-z0-9+/]+={0,2}$/i.test(letters)) return fail('no base64');
    try {
      return { bytes: [...atob(letters)].map((c) => c.charCodeAt(0)), form: 'base64' };
    } catch {
      return fail('base64 ends inside a byte');
    }
  }

  // How many bytes of Ethernet, IPv4 and UDP are in front, of a whole packet.
  function headersOf(bytes) {
    for (const start of [0, 14, 16]) {
      const header = (bytes[start] & 15) * 4;
      const udp = start + header;
      const length = bytes[udp + 4] << 8 | bytes[udp + 5];
      if (bytes[start] >> 4 === 4 && header >= 20 && bytes[start + 9] === 17 &&
          length > 8 && udp + length <= bytes.length) {
        return { from: udp + 8, to: udp + length };
      }
    }
    return null;
  }

  function bytesOf(text) {
    const trimmed = text.trim();
    if (!trimmed) return fail('');
    let read = fromDump(text);
    if (!read && /^(b|L|u8)?["']/.test(trimmed)) read = fromLiteral(trimmed);
    read ??= fromHex(trimmed);
    if (read.fault) {
      // Words have the alphabet of base64 as well.
      const words = trimmed.split(/\s+/);
      const likely = words.slice(0, -1).every(({ length }) => length >= 40) &&
        trimmed.length > 7 && /[=+/0-9]/.test(trimmed);
      const base64 = likely ? fromBase64(trimmed) : read;
      if (!base64.fault) read = base64;
    }
    if (read.fault !== undefined) return read;
    const bytes = Uint8Array.from(read.bytes);
    const packet = headersOf(bytes);
    return packet ?
      { bytes: bytes.slice(packet.from, packet.to), skipped: packet.from, form: read.form } :
      { bytes, skipped: 0, form: read.form };
  }

  return bytesOf;
})();
