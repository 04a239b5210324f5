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

  // A line of gdb's x/xb, "0x7ffe0010 <buffer>: 0x08 0xa4", or of hexdump -C, with
  // a gap in the middle, as a dump has it.
  const likeDump = (line) => line.trim().replace(/^([0-9a-f]+ .*) \|.*\|$/i,
      (_, bytes) => bytes.trim().replace(/ +/g, ' ')).replace(
      /^0x([0-9a-f]+)(?: [^:]*)?:((?:\s+0x[0-9a-f]{2})+)$/i,
      (_, address, words) => `${address}:${words.replace(/\s+0x/gi, ' ')}`);

  // Whether it is a listing whose words are octal, or have their bytes in the
  // order of the machine: of od without -x or -tx1, of xxd -e, of gdb's x/xw.
  function isInWords(text) {
    const first = text.trim().split(/[\r\n]/)[0];
    const [offset, word = ''] = first.split(/\s+/);
    if (/^[0-7]{7}$/.test(offset) && word) return !/^(?:[0-9a-f]{2}){1,2}$/i.test(word);
    if (/^0x.*:$/.test(offset)) return word.startsWith('0x') && likeDump(first) === first;
    const [, words, characters] =
      /^[0-9a-f]{4,16}:\s+((?:(?:[0-9a-f]{2})+ )+)\s+(\S.*)$/i.exec(first) ?? [];
    if (!words) return false;
    // xxd -e turns the words around and leaves the characters as they are.
    const shown = words.trim().split(/\s+/).map((each) => each.match(/../g).map((pair) => {
      const byte = parseInt(pair, 16);
      return byte < 32 || byte > 126 ? '.' : String.fromCharCode(byte);
    }));
    const straight = shown.flat().join('');
    const swapped = shown.flatMap((each) => each.reverse()).join('');
    return straight !== swapped && characters === swapped;
  }

  // A list of decimal numbers in brackets, signed or not, or Node's JSON of a
  // Buffer. Of two digits each, and without a Buffer, they may as well be hex.
  function fromDecimals(text) {
    const [, before, list] = /^([^[]*)\[([^]*)\]([^]*)$/.exec(text) ?? [];
    const isBuffer = before?.includes('"Buffer"');
    if (list === undefined || (!isBuffer && !/^\[[^]*\]$/.test(text))) return null;
    const words = list.split(/[\s,]+/).filter(Boolean);
    const good = words.every((word) => /^-?(?:0|[1-9]\d{0,2})$/.test(word) &&
      Number(word) >= -128 && Number(word) <= 255);
    const certain = isBuffer || words.some((word) => !/^\d\d$/.test(word));
    return words.length && good && certain ?
      { bytes: words.map((word) => Number(word) & 255), form: 'decimal numbers' } : null;
  }

  // What a line of a log has in hex behind a colon or another mark.
  function fromLog(text) {
    const line = text.split(/\s+/).map((word) => word.replace(/(.),$/, '$1').replace(/^0x/, ''));
    if (/\n/.test(text)) return null;
    const found = /^.*[:=>\])|]((?: [0-9a-f]{2}){2,}| (?:[0-9a-f]{2}){4,})$/i.exec(line.join(' '));
    return found && { bytes: found[1].match(/[0-9a-f]{2}/gi).map((pair) => parseInt(pair, 16)),
      form: 'the end of a line' };
  }

  function fromDump(text) {
    const all = text.split('\n').filter((line) => line.trim());
    // Above the bytes of a packet, tcpdump says what it is.
    const lines = all.slice(Math.max(0, all.findIndex((line) => /^\s*0x0000:/.test(line))));
    const read = lines.map((line) => DUMP.exec(likeDump(line)));
    if (!read.every(Boolean) || !read.some(([, , , hex]) => hex?.trim())) return null;
    // A line alone may as well be hex in groups.
    if (read.length === 1 && parseInt(read[0][1], 16) && !read[0][2]) return null;
    // hexdump and od show words as the machine has them: the low byte first.
    const isWide = read.every(([, offset, colon, hex = '']) =>
      !colon && offset.length === 7 && /^(?:[0-9a-f]{4} ?)*$/i.test(hex));
    const bytesAt = (radix) => {
      const bytes = [];
      const first = parseInt(read[0][1], radix);
      for (const [, offset, , hex = ''] of read) {
        const at = parseInt(offset, radix) - first;
        // The last word may be more than there is.
        if (!hex && at === bytes.length - 1) bytes.pop();
        // Any other offset says that the columns are no offsets.
        if (at !== bytes.length) return null;
        const ordered = isWide ? hex.replace(/(\w\w)(\w\w)/g, '$2$1') : hex;
        for (const pair of ordered.match(/[0-9a-f]{2}/gi) ?? []) bytes.push(parseInt(pair, 16));
      }
      return bytes;
    };
    const bytes = bytesAt(16) ?? bytesAt(8);  // od counts in octal.
    if (!bytes) return null;
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
    const plain = text.replace(/\x1b\[[0-9;]*[mK]/g, '');
    const trimmed = plain.trim();
    if (!trimmed) return fail('');
    if (isInWords(trimmed)) {
      return fail('a listing of words, or of octal or decimal numbers; xxd, od -An -tx1 ' +
        'and gdb\'s x/xb print bytes in hex');
    }
    let read = fromDecimals(trimmed) ?? fromDump(plain);
    if (!read && /^(b|L|u8)?["']/.test(trimmed)) read = fromLiteral(trimmed);
    read ??= fromHex(trimmed);
    if (read.fault) {
      // Words have the alphabet of base64 as well.
      const words = trimmed.split(/\s+/);
      const likely = words.slice(0, -1).every(({ length }) => length >= 40) &&
        trimmed.length > 7 && /[=+/0-9]/.test(trimmed);
      const base64 = likely ? fromBase64(trimmed) : read;
      read = base64.fault ? fromLog(trimmed) ?? read : base64;
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
