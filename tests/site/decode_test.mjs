// The page that explains pasted bytes, and the walk through them beside the one
// of the program zorvik.
import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { readFileSync } from 'node:fs';
import { after, before, beforeEach, test } from 'node:test';
import { fileURLToPath } from 'node:url';

import { chromium } from 'playwright-core';

import { launchOptions } from '../../docs/site/browser.mjs';
import '../../docs/site/static/bytes.js';
import '../../docs/site/static/wire.js';
import { site, vectors } from './expected.mjs';

const zorvik = fileURLToPath(
    new URL('../../build/release/bin/zorvik', import.meta.url));
const model = JSON.parse(/\{.*\}/s.exec(readFileSync(new URL('model.js', site)))[0]);
const { bytesOf, wire } = globalThis;

let browser;
let page;
before(async () => {
  browser = await chromium.launch(launchOptions);
});
after(() => browser.close());
beforeEach(async () => {
  await page?.close();
  page = await browser.newPage();
  await page.goto(new URL('decode.html', site).href);
});

// The place and the beginning of the reason of each fault.
const line = ({ offset, reason }) =>
  `${offset} ${reason.replace(/zorvik\S*\.|google\S*\./g, '').split(' ').slice(0, 2).join(' ')}`;

test('what is not good is found where the program finds it', () => {
  const inputs = new Map();
  for (const vector of vectors) {
    const all = [vector.hex, vector.input, ...vector.rejects ?? []].filter(Boolean);
    const cut = all.map((hex) => hex.replaceAll(' ', '')).flatMap((hex) =>
      [...hex].map((_, i) => hex.slice(0, i + 1)).filter((s) => s.length % 2 === 0));
    inputs.set(vector.message, [...inputs.get(vector.message) ?? [], ...cut]);
  }
  let faults = 0;
  for (const [message, all] of inputs) {
    const lines = [...new Set(all)];
    const { stdout } = spawnSync(zorvik, ['decode', '-t', message, '--lines', '--json',
      '--hex'], { input: `${lines.join('\n')}\n`, encoding: 'utf8', maxBuffer: 1 << 28 });
    const decoded = stdout.trim().split('\n').map((text) => JSON.parse(text));
    assert.equal(decoded.length, lines.length, message);
    for (const [i, hex] of lines.entries()) {
      const expected = (decoded[i].faults ?? []).filter(
          ({ offset }) => offset !== undefined).map(line);
      const found = wire.explain(model, message, Buffer.from(hex, 'hex')).faults.map(line);
      assert.deepEqual(found, expected, `${message}: ${hex}`);
      faults += found.length;
    }
  }
  assert.ok(faults > vectors.length);
});

test('no byte is lost, whatever the bytes are', () => {
  let seed = 1;
  const random = () => (seed = seed * 48271 % 0x7fffffff) & 255;
  const names = Object.keys(model.messages);
  for (let round = 0; round < 5000; round += 1) {
    const bytes = Uint8Array.from({ length: random() % 40 }, random);
    const { parts } = wire.explain(model, names[round % names.length], bytes);
    assert.equal(parts.map(({ tag, length, value }) =>
      wire.hex([...tag, ...length, ...value])).join(' ').trim().replace(/ +/g, ' '),
    wire.hex(bytes));
  }
});

test('bytes are read in every form in which they are printed', () => {
  // What the program reads as the page does.
  const common = [
    '08 a4 51 10', '08A45110', '0x08a45110', '0x08, 0xa4, 0x51, 0x10', '08:a4:51:10',
    '08-a4-51-10', '\\x08\\xa4\\x51\\x10', '"\\x08\\xa4Q\\020"', "b'\\x08\\xa4Q\\x10'",
    'const uint8_t m[4] = { 0x8, /* id */ 0xA4, 0x51, // node\n 0x10 };',
    '0000  08 a4 51 10                ..Q.', '00000000: 08a4 5110           ..Q.',
    '00000000  08 a4  51 10     |..Q.|\n00000004', '00000000: 08a45110  ..Q.',
    '0000000 a408 1051\n0000004', '0000000 08 a4 51\n0000003 10\n0000004',
    '[8, 164, 81, 16]', '[8 164 81 16]', '[8, -92, 81, 16]',
    '{\n"type": "Buffer", "data": [8,164,81,16]}', '0x7ffe0010:\t0x08\t0xa4\t0x51\t0x10',
    '0x7ffe0010 <m>: 0x08 0xa4\n0x7ffe0012 <m+2>: 0x51 0x10',
    '\x1b[1;32m08\x1b[0m \x1b[31ma4\x1b[0m 51 10\x1b[K', '12:01 rx node 9: 08 a4 51 10',
    '[rx] 0x08, 0xa4, 0x51, 0x10', 'node 9> 08a45110',
  ];
  for (const input of common) {
    const { stdout } = spawnSync(zorvik, ['decode', '--json'], { input, encoding: 'utf8' });
    assert.equal(stdout && JSON.parse(stdout).raw, '08a45110', input);
  }
  for (const text of [...common, 'CKRREA==', '\t0x0000:  08a4 5110',
    '02:40:01.5 IP localhost.5000 > localhost.5001: UDP, length 4\n\t0x0000:  08a4 5110  ..Q.',
    '00000000  08 a4 51 10     |..Q.|\n00000004',
    '0000  45 00 00 20 00 01 00 00 40 11 00 00 7f 00 00 01\n' +
    '0010  7f 00 00 01 13 88 13 89 00 0c 00 00 08 a4 51 10',
  ]) {
    assert.equal(wire.hex(bytesOf(text).bytes ?? []), '08 a4 51 10', text);
  }
  const listings = ['0000000 122010 010121\n0000004', '0000000 1051a408\n0000004',
    '0000000  \\b 244   Q 020', '0000000    8 164  81  16',
    '00000000: 1051a408                            ..Q.', '0x7ffe0010: 0x1051a408'];
  for (const input of listings) {
    assert.match(bytesOf(input).fault, /words/, input);
    assert.match(spawnSync(zorvik, ['decode'], { input, encoding: 'utf8' }).stderr, /words/);
  }
  const unclear = ['12:01 rx 10 08 04 10 03', '[8, 4, ... 20 more items]', '[8, 4, 256]'];
  for (const input of unclear) {
    assert.ok(bytesOf(input).fault, input);
    assert.equal(spawnSync(zorvik, ['decode'], { input }).status, 1, input);
  }
  for (const [text, fault] of [['08 g4', /g.*no hex digit/], ['08 a4 5', /inside a byte/],
    ['08\n0x123', /line 2/], ['some words', /no hex digit/]]) {
    assert.match(bytesOf(text).fault, fault);
  }
});

test('the headers of a whole packet are skipped', () => {
  const packet = '45000020000100004011 0000 7f000001 7f000001 13881389000c0000 08a45110'
      .replaceAll(' ', '');
  // Alone, behind those of Ethernet, and of a Linux cooked capture.
  for (const before of [0, 14, 16]) {
    const { bytes, skipped } = bytesOf(`${'00'.repeat(before)}${packet}0000`);  // Padded.
    assert.deepEqual([wire.hex(bytes), skipped], ['08 a4 51 10', before + 28]);
  }
  // One that is cut, and one of TCP.
  for (const other of [packet.slice(0, -2), packet.replace('4011', '4006')]) {
    assert.equal(bytesOf(other).skipped, 0);
  }
});

test('the page explains an envelope as the examples are explained', async () => {
  const reads = () => page.$$eval('.parts tbody tr', (rows) => rows.map((row) =>
    [0, 4, 5].map((i) => row.cells[i].textContent.replace(/\s+/g, ' ')).join(' | ')));
  // What the page shows without being asked.
  assert.ok((await reads()).includes('87 | yaw | 45'));
  assert.match(await page.textContent('.sum'),
      /channelTopicMessage with UavGimbalRotateReqMessage/);
  assert.equal(new URL(page.url()).hash, '');
  const { hex, text } = vectors.find(({ message }) =>
    message === 'zorvik.gimbal.UavGimbalReqMessage');
  await page.fill('#bytes', hex);
  assert.match(await page.textContent('.guesses'), /could also be one of \d+/);
  await page.selectOption('#type', 'zorvik.gimbal.UavGimbalReqMessage');
  assert.deepEqual(await reads(), [`0 | seq | ${/\d+/.exec(text)[0]}`]);
  // The link holds all of it, also in a page that is open already.
  const link = page.url();
  await page.goto(new URL('decode.html#hex=08', site).href);
  assert.match(await page.textContent('.fault'), /At offset 1: the end/);
  await page.goto(link);
  assert.deepEqual(await reads(), [`0 | seq | ${/\d+/.exec(text)[0]}`]);
  // It is not to be had while it would hold other bytes than the field.
  const copy = page.getByRole('button', { name: 'Copy link' });
  await page.fill('#bytes', 'no bytes');
  assert.ok(await copy.isDisabled());
  await page.fill('#bytes', hex);
  assert.ok(await copy.isEnabled());
  // A guess is taken.
  await page.selectOption('#type', '');
  await page.fill('#bytes', '0a03616263120161');
  await page.getByRole('button', { name: 'productInfo' }).click();
  assert.match(await page.textContent('.sum'), /productInfo/);
  // Text is text, whatever it looks like.
  await page.selectOption('#type', 'zorvik.logger.logMessage');
  const evil = Buffer.from('<img src=x onerror=alert(1)>');
  const { fields } = model.messages['zorvik.logger.logMessage'];
  const number = Number(Object.keys(fields).find((n) => fields[n].type === 'string'));
  await page.fill('#bytes', Buffer.from([number << 3 | 2, evil.length, ...evil])
      .toString('hex'));
  assert.equal(await page.locator('#explained img').count(), 0);
  assert.match((await reads())[0], /<img src=x/);
});

test('content that its topic type does not carry is objected to', async () => {
  const shown = await page.inputValue('#bytes');
  await page.fill('#bytes', shown.replace('08a451', '08b351'));
  assert.match(await page.textContent('.fault'),
      /GIMBAL_RESET carries UavResetReqMessage, and not UavGimbalRotateReqMessage/);
  await page.fill('#bytes', shown.replace('08a451', '08ff7f'));
  assert.match(await page.textContent('.fault'), /16383 is no topic type/);
});
