// Walks encoded messages and says what each byte is for. The build of the site
// explains its examples with it, and the page decode.html what is pasted there.
//
// The model has what the schemas say: messages by full name, each with its
// fields by number, and enums by full name, each with its values by number.
//
//   explain(model, 'zorvik.gimbal.GimbalAttitude3d', bytes) has
//     parts   of each run of bytes: what it is
//     faults  where something could not be read, and why
globalThis.wire = (() => {
  const ANY = 'google.protobuf.Any';
  const ANY_FIELDS = {
    1: { name: 'type_url', type: 'string' }, 2: { name: 'value', type: 'bytes' } };
  const DEEPEST = 100;  // As in the protobuf runtime.
  const LENGTH_DELIMITED = 2;
  const KINDS = ['VARINT', 'I64', 'LEN', 'group', 'end of a group', 'I32'];

  class Fault extends Error {
    constructor(offset, reason) {
      super(reason);
      this.offset = offset;
    }
  }

  const hex = (bytes) =>
    [...bytes].map((byte) => byte.toString(16).padStart(2, '0')).join(' ');
  const counted = (size) => `${size} byte${size === 1 ? '' : 's'}`;
  const isMessage = (field) =>
    field.type.includes('.') && field.type !== field.numbers;

  function wireTypeOf({ type }) {
    if (type === 'string' || type === 'bytes') return LENGTH_DELIMITED;
    return { double: 1, float: 5 }[type] ?? 0;
  }

  function numberOf(type, raw) {
    switch (type) {
      case 'bool': return String(raw !== 0n);
      case 'sint32': {
        const bits = BigInt.asUintN(32, raw);
        return String(BigInt.asIntN(32, (bits >> 1n) ^ -(bits & 1n)));
      }
      case 'uint32': return String(BigInt.asUintN(32, raw));
      case 'uint64': return String(raw);
      case 'int64': return String(BigInt.asIntN(64, raw));
      default: return String(BigInt.asIntN(32, raw));
    }
  }

  function floatingOf(value, isDouble) {
    if (Object.is(value, -0)) return '-0.0';
    if (!Number.isFinite(value)) return String(value).replace('Infinity', 'inf').toLowerCase();
    // The shortest digits that a float of 32 bits reads back from.
    let digits = 6;
    while (!isDouble && Math.fround(Number(value.toPrecision(digits))) !== value) {
      digits += 1;
    }
    const shown = String(isDouble ? value : Number(value.toPrecision(digits)));
    return /[.e]/.test(shown) ? shown : `${shown}.0`;
  }

  class Walk {
    constructor(model, bytes) {
      this.model = model;
      this.bytes = bytes;
      this.view = new DataView(bytes.buffer, bytes.byteOffset, bytes.length);
      this.at = 0;
      this.parts = [];
      this.faults = [];
    }

    varint(end) {
      const start = this.at;
      let value = 0n;
      for (let shift = 0n; shift < 70n; shift += 7n) {
        if (this.at === end) throw new Fault(start, 'the end is inside a number');
        const byte = this.bytes[this.at++];
        value |= BigInt(byte & 0x7f) << shift;
        if (byte < 0x80) return BigInt.asUintN(64, value);
      }
      throw new Fault(start, 'a number of more than ten bytes');
    }

    add(part) {
      this.parts.push({ length: [], value: [], shown: '', ...part });
      return this.parts.at(-1);
    }

    // What a fault leaves unread, so that no byte is missing.
    rest(start, end, depth, hue) {
      if (start >= end) return;
      this.add({ offset: start, depth, hue, tag: [], name: '', bad: true,
        value: this.bytes.slice(start, end), shown: 'not read' });
    }

    // The fields up to the end. Those of a type that is null are all unknown.
    message(type, end, depth, hue, group = 0) {
      if (depth > DEEPEST) throw new Fault(this.at, 'nested too deep');
      const content = type === ANY ? this.contentType(this.at, end) : null;
      const fields = type === ANY ? ANY_FIELDS :
        this.model.messages[type]?.fields ?? {};
      for (let top = 0; this.at < end; top += 1) {
        const start = this.at;
        const color = hue ?? top;
        try {
          if (this.field(fields, content, end, depth, color, group)) return;
        } catch (fault) {
          if (!(fault instanceof Fault)) throw fault;
          // What has been shown of the field stays; the rest is not read.
          const last = this.parts.at(-1);
          const from = last?.offset >= start ? this.endOf(last) : start;
          this.rest(from, end, depth, color);
          this.at = end;
          throw fault;
        }
      }
      if (group) throw new Fault(end, `group ${group} is not closed`);
    }

    endOf({ offset, tag, length, value }) {
      return offset + tag.length + length.length + value.length;
    }

    // The message that an Any has inside, by its type URL, if it is known.
    contentType(start, end) {
      const copy = new Walk(this.model, this.bytes);
      let name = null;
      try {
        for (copy.at = start; copy.at < end;) {
          const key = copy.varint(end);
          if ((key & 7n) === 0n) copy.varint(end);
          else if ((key & 7n) === 2n) {
            const size = Number(copy.varint(end));
            if (size > end - copy.at) break;
            if (key >> 3n === 1n) {
              name = new TextDecoder().decode(
                  this.bytes.subarray(copy.at, copy.at + size)).split('/').at(-1);
            }
            copy.at += size;
          } else copy.at += (key & 7n) === 1n ? 8 : 4;
        }
      } catch { /* The walk itself will meet the fault. */ }
      return this.model.messages[name] ? name : null;
    }

    // Reads one field. True when it ends the group.
    field(fields, content, end, depth, hue, group) {
      const start = this.at;
      const key = this.varint(end);
      const number = Number(key >> 3n);
      const wireType = Number(key & 7n);
      if (number === 0 || key > 0xffffffffn) {
        throw new Fault(start, 'a tag without a valid field number');
      }
      let field = fields[number];
      const packed = field?.repeated && !isMessage(field) &&
        wireTypeOf(field) !== LENGTH_DELIMITED;
      const fits = field && (wireType === LENGTH_DELIMITED ?
        packed || isMessage(field) || wireTypeOf(field) === LENGTH_DELIMITED :
        !isMessage(field) && wireTypeOf(field) === wireType);
      if (!fits) field = null;
      const name = field ? field.name : `unknown field ${number}`;
      const spoken = `field ${number}${field ? ` (${field.name})` : ''}`;
      const tag = this.bytes.slice(start, this.at);
      const part = { offset: start, depth, hue, tag, name, url: field?.url };
      const take = (size) => {
        if (size > end - this.at) {
          throw new Fault(start, `${spoken} needs ${counted(size)}, and ` +
            `${end - this.at} ${end - this.at === 1 ? 'is' : 'are'} left`);
        }
        this.at += size;
        return this.bytes.slice(this.at - size, this.at);
      };
      if (wireType === 4 && number === group) {
        this.add({ ...part, name: `end of group ${number}` });
        return true;
      }
      if (wireType === 4) throw new Fault(start, `${spoken} ends a group that is not open`);
      if (wireType > 5) {
        throw new Fault(start, `${spoken} has wire type ${wireType}, which does not exist`);
      }
      if (wireType === 3) {
        this.add({ ...part, shown: 'not declared: a group' });
        this.message(null, end, depth + 1, hue, number);
        return false;
      }
      if (wireType === 0) {
        const from = this.at;
        const raw = this.varint(end);
        const value = this.bytes.slice(from, this.at);
        this.add({ ...part, value, ...this.numbers(field, [raw]) });
        return false;
      }
      if (wireType !== LENGTH_DELIMITED) {
        const size = wireType === 1 ? 8 : 4;
        const from = this.at;
        const value = take(size);
        this.add({ ...part, value, shown: field ?
          floatingOf(size === 8 ? this.view.getFloat64(from, true) :
            this.view.getFloat32(from, true), size === 8) :
          `not declared: ${KINDS[wireType]}` });
        return false;
      }
      const before = this.at;
      const size = Number(this.varint(end));
      const length = this.bytes.slice(before, this.at);
      const from = this.at;
      const inner = field && isMessage(field) ? field.type :
        fields === ANY_FIELDS && number === 2 && content;
      const cut = size > end - from;
      if (cut && !inner) take(size);  // A fault.
      if (!inner) {
        const value = take(size);
        const shown = this.add({ ...part, length, value });
        try {
          Object.assign(shown, this.delimited(field, packed, from, value));
        } catch (fault) {
          if (!(fault instanceof Fault)) throw fault;
          shown.bad = true;
          shown.shown = counted(value.length);
          this.faults.push(fault);
          this.at = from + size;
        }
        return false;
      }
      const simple = inner.split('.').at(-1);
      this.add({ ...part, length, shown: `${counted(size)} of ${simple}`, inner });
      const last = cut ? end : from + size;
      try {
        this.message(inner, last, depth + 1, hue);
      } catch (fault) {
        if (!(fault instanceof Fault)) throw fault;
        // Where the bytes end, all that they are in ends, too: one fault.
        if (!cut) this.faults.push(fault);
      }
      this.at = last;
      if (cut) {
        throw new Fault(start, `${spoken} needs ${counted(size)}, and ` +
          `${end - from} are left`);
      }
      return false;
    }

    // How numbers are shown; one that an enum declares, with its name.
    numbers(field, raws) {
      if (!field) return { shown: `not declared: ${raws[0]}` };
      const shown = raws.map((raw) => numberOf(field.type, raw)).join(', ');
      const of = this.model.enums[field.numbers];
      const named = of && raws.length === 1 ?
        of[BigInt.asIntN(32, raws[0])] ?? null : undefined;
      return { shown, named };
    }

    delimited(field, packed, from, value) {
      if (!field) return { shown: `not declared: ${counted(value.length)}` };
      if (packed) {
        const raws = [];
        const end = this.at;
        for (this.at = from; this.at < end;) raws.push(this.varint(end));
        return this.numbers(field, raws);
      }
      if (field.type === 'bytes') return { shown: counted(value.length) };
      try {
        const text = new TextDecoder('utf-8', { fatal: true, ignoreBOM: true })
            .decode(value);
        return { shown: JSON.stringify(text), isText: true };
      } catch {
        throw new Fault(from, `${field.name} is not UTF-8: the parse of the ` +
          'whole message fails');
      }
    }
  }

  function explain(model, type, bytes) {
    const walk = new Walk(model, bytes);
    try {
      walk.message(type, bytes.length, 0, null);
    } catch (fault) {
      if (!(fault instanceof Fault)) throw fault;
      walk.faults.push(fault);
    }
    return { parts: walk.parts, faults: walk.faults.map(
        ({ offset, message }) => ({ offset, reason: message })) };
  }

  const escape = (text) => text.replace(/[&<>"]/g, (c) => `&#${c.charCodeAt(0)};`);
  const breakable = (text) => escape(text).replace(/[_.:/]|[a-z](?=[A-Z])/g, '$&<wbr>');

  // The bytes in one run, each field underlined, and below what each is for.
  function html({ parts }, root) {
    if (!parts.length) return '<p class="bytes"><span class="none">no bytes</span></p>';
    const runs = parts.map(({ hue, tag, length, value, bad }) =>
      `<span class="part hue${hue % 6}${bad ? ' bad' : ''}">` + [
        tag.length ? `<b>${hex(tag)}</b>` : '',
        length.length ? `<i>${hex(length)}</i>` : '', hex(value),
      ].filter(Boolean).join(' ') + '</span>');
    const rows = parts.map((part) => {
      const { url, name, named, shown } = part;
      const link = url ? `<a href="${root}${url}">${escape(name)}</a>` : escape(name);
      const enumValue = named ? ` <a href="${root}${named[1]}"><code>` +
        `${breakable(named[0])}</code></a>` :
        named === null ? ' <span class="fact">not declared</span>' : '';
      return `<tr class="hue${part.hue % 6}${part.bad ? ' bad' : ''}">` +
        `<td class="num">${part.offset}</td>` +
        `<td><code><b>${hex(part.tag)}</b></code></td>` +
        `<td><code><i>${hex(part.length)}</i></code></td>` +
        `<td class="value"><code>${hex(part.value)}</code></td>` +
        `<td class="name" style="--depth: ${part.depth}"><code>${link}</code></td>` +
        `<td class="reads"><span>${part.isText || part.inner ? breakable(shown) : escape(shown)}</span>` +
        `${enumValue}</td></tr>`;
    });
    return `<p class="bytes">${runs.join('\n')}</p>
<div class="scroll" tabindex="0"><table class="parts">
<thead><tr><th class="num">At</th><th>Tag</th><th>Length</th><th>Value</th><th>Field</th><th>Reads as</th></tr></thead>
<tbody>
${rows.join('\n')}
</tbody></table></div>`;
  }

  return { explain, html, hex };
})();
