// Explains encoded messages as HTML: reads {"model": ..., "examples": [{"message",
// "hex", "root"}, ...]} from standard input, writes a JSON list.
import { text } from 'node:stream/consumers';

import './static/wire.js';

const { model, examples } = JSON.parse(await text(process.stdin));
process.stdout.write(JSON.stringify(examples.map(({ message, hex, root }) => {
  const explained = globalThis.wire.explain(model, message,
      Uint8Array.from(Buffer.from(hex, 'hex')));
  if (explained.faults.length) {
    throw new Error(`${message}: ${hex}: ${explained.faults[0].reason}`);
  }
  const top = explained.parts.filter(({ depth }) => depth === 0);
  return { html: globalThis.wire.html(explained, root),
    parts: explained.parts.length, fields: new Set(top.map(({ name }) => name)).size };
})));
