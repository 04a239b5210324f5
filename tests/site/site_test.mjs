// The reference site in a browser, opened from disk as a reader does.
import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { mkdirSync, mkdtempSync, readdirSync, readFileSync,
  rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { after, before, beforeEach, test } from 'node:test';

import { chromium } from 'playwright-core';

import { launchOptions } from '../../docs/site/browser.mjs';
import { elements, enums, fields, groups, linesOfSchema, lineOfValue,
  messages, missingAccessors, pages, schemas, site, squeeze, values, vectors,
} from './expected.mjs';

let browser;
let page;
let complaints;

const open = (url) => page.goto(new URL(url, site).href);
const place = () => decodeURI(page.url().slice(site.href.length));

before(async () => {
  browser = await chromium.launch(launchOptions);
});
after(() => browser.close());
beforeEach(async () => {
  await page?.close();
  page = await browser.newPage({ viewport: { width: 1280, height: 800 } });
  complaints = [];
  page.on('pageerror', (error) => complaints.push(String(error)));
  page.on('console', (message) => complaints.push(message.text()));
  page.on('requestfailed', (r) => complaints.push(`failed: ${r.url()}`));
  page.on('request', (request) => {
    if (!/^(file|data):/.test(request.url())) complaints.push(request.url());
  });
});

// Compares lists of lines, and shows the first few that differ.
function same(what, found, expected) {
  const count = (lines) => lines.reduce(
      (map, line) => map.set(line, (map.get(line) ?? 0) + 1), new Map());
  const less = (lines, others) => [...lines].filter(
      ([line, times]) => (others.get(line) ?? 0) < times).map(([line]) => line);
  const [has, wants] = [count(found), count(expected)];
  const [missing, extra] = [less(wants, has), less(has, wants)];
  if (missing.length + extra.length) {
    throw new Error([`${what}: ${missing.length} lines are missing, ` +
      `${extra.length} too many:`, ...missing.slice(0, 3).map((l) => `- ${l}`),
    ...extra.slice(0, 3).map((l) => `+ ${l}`)].join('\n'));
  }
  const at = found.findIndex((line, i) => line !== expected[i]);
  if (at >= 0) throw new Error(`${what}: out of order: ${found[at]}`);
}

// What a page has, once it is open.
const survey = () => page.evaluate(() => ({
  ids: [...document.querySelectorAll('[id]')].map((node) => node.id),
  links: [...document.querySelectorAll('a')].map(
      (a) => a.href.baseVal ?? a.getAttribute('href')),
  overflow: document.documentElement.scrollWidth - innerWidth,
}));

test('pages load nothing else, and every link has a target', async () => {
  const found = new Map();
  for (const [colorScheme, width] of [['light', 1280], ['dark', 390]]) {
    await page.emulateMedia({ colorScheme });
    await page.setViewportSize({ width, height: 800 });
    for (const url of pages) {
      await open(url);
      const surveyed = await survey();
      assert.ok(surveyed.overflow <= 0, `${url} is too wide at ${width} px`);
      found.set(url, surveyed);
    }
  }
  same('complaints', complaints, []);
  let links = 0;
  for (const [url, surveyed] of found) {
    assert.equal(new Set(surveyed.ids).size, surveyed.ids.length,
        `${url} has an id twice`);
    for (const link of surveyed.links) {
      const target = new URL(link, new URL(url, site));
      if (target.protocol !== 'file:') continue;
      const [path, anchor] = target.href.slice(site.href.length).split('#');
      if (path.startsWith('proto/')) {  // The text of a schema, as it is.
        assert.deepEqual(readFileSync(new URL(path, site)),
            readFileSync(new URL(`../../${path}`, import.meta.url)));
        continue;
      }
      assert.ok(found.has(path), `${url} links to ${link}`);
      assert.ok(!anchor || found.get(path).ids.includes(anchor),
          `${url} links to ${link}, where nothing is`);
      links += 1;
    }
  }
  assert.ok(links > messages.length);
  // What the guides link to in each other, they do on their pages.
  for (const name of readdirSync(new URL('../../docs/', import.meta.url))) {
    if (!name.endsWith('.md')) continue;
    const text = readFileSync(
        new URL(`../../docs/${name}`, import.meta.url), 'utf8');
    for (const [, guide, anchor] of text.matchAll(/\]\(([\w-]+)\.md(#\S+)\)/g)) {
      assert.ok(found.get(`guide/${name.replace('.md', '.html')}`).links
          .includes(`../guide/${guide}.html${anchor}`),
      `${name} links to ${guide}${anchor}, and its page does not`);
    }
  }
});

// What the page of a schema says, line by line as in expected.mjs. A link
// stands for the full name of its target, which its text has to end.
const linesOfPage = () => page.evaluate(() => {
  const squeeze = (text) => text.replace(/\s+/g, '');
  const words = (node) =>
    (node?.textContent ?? '').replace(/\s+/g, ' ').trim();
  const anchor = (link) => decodeURIComponent(link?.hash.slice(1) ?? '');
  const target = (link) => anchor(link).endsWith(words(link)) ? anchor(link) :
    `${anchor(link)} as ${words(link)}`;
  const all = (node, selector) => [...node.querySelectorAll(selector)];
  const row = (...cells) => cells.filter(Boolean).join(' | ');
  const opens = (node) => all(node, 'p.open').map(
      (p) => `open: ${squeeze(p.textContent).replace('Leftopen', '')}`);
  // The comment, which stands before the facts and what is open.
  const comment = (node) => squeeze([...node?.childNodes ?? []].filter((child) =>
    !child.matches?.('.fact, .open')).map((c) => c.textContent).join(''));
  const facts = (node) => all(node, '.facts > div')
      .map((fact) => [words(fact.querySelector('dt')), fact.querySelector('dd')])
      .filter(([label]) => !['Spoken of at', 'Text'].includes(label))
      .map(([label, dd]) => `${label}: ` + (dd.querySelector('a') ?
        all(dd, 'a').map((a) => row(a.parentNode.querySelector('.number')
            ?.textContent, target(a)).replace(' | ', ' ')).join(' ') :
        words(dd).replace(/\u200b/g, '')));
  const named = (node, label) =>
    all(node, 'a').map((a) => `${label}: ${target(a)}`);
  const field = (tr) => row(
      words(tr.querySelector('.num')), target(tr.querySelector('.self')),
      tr.querySelector('.repeated') && 'repeated',
      all(tr, '.type a').map(target)[0] ?? words(tr.querySelector('.type code')),
      ...all(tr, '.fact').flatMap((fact) => named(fact, 'carries')),
      ...all(tr, '.unit').map((unit) => `unit: ${words(unit)}`),
      comment(tr.querySelector('.meaning')), ...opens(tr),
      ...all(tr, '.code > code, .json').map(words),
      words(tr.querySelector('.tag code')), words(tr.querySelector('.wire')));
  const value = (tr) => row(
      words(tr.querySelector('.num')), target(tr.querySelector('th a')),
      comment(tr.querySelector('.meaning')), ...opens(tr),
      ...all(tr, '.schema').map((p) => `schema: ${words(p).split(' ')[1]}`),
      ...['carries', 'pairs'].flatMap((kind) =>
        all(tr, `.${kind}`).flatMap((p) => named(p, kind))),
      ...all(tr, '.answer > a').map((a) => `answer: ${target(a)}`),
      ...all(tr, '.answer .on a').map((a) => `on: ${words(a)} ${anchor(a)}`));
  const section = (node) => [
    row(node.querySelector('h3').id, comment(node.querySelector('.prose')),
        ...opens(node.querySelector('.prose'))),
    ...facts(node), ...all(node, '.fields tbody tr').map(field),
    ...all(node, '.values tbody tr:not(.block)').map(value)];
  const main = document.querySelector('main');
  const prose = main.querySelector(':scope > .prose');
  const head = prose ? [
    row(words(main.querySelector('h1 code')), main.querySelector('.crumbs a')
        .pathname.split('/').at(-1).replace('.html', ''),
    squeeze(main.querySelector('h1').firstChild.textContent), comment(prose),
    ...opens(prose)),
    ...facts({ querySelectorAll: () => main.querySelectorAll(
        ':scope > .facts > div') })] : [];
  return [...head, ...all(main, 'section.message, section.enum').flatMap(section)];
});

test('the page of each schema says what the catalogue says, and nothing else',
    async () => {
      for (const schema of schemas) {
        await open(schema.page);
        const lower = (line) => line.replace(/^(\S+\.proto .*)/, (head) =>
          head.toLowerCase());
        same(schema.page, (await linesOfPage()).map(lower),
            linesOfSchema(schema).map(lower));
        for (const places of await page.$$eval('.facts dd', (all) => all.map(
            (dd) => [...dd.querySelectorAll('a')].map((a) => a.href)))) {
          same(`${schema.page}, places`, places, [...new Set(places)]);
        }
      }
    });

test('the lists of ids, open points, schemas and messages are complete',
    async () => {
      const byName = new Map(elements.map((each) => [each.fullName, each]));
      // The second cell is the beginning of a comment.
      const begins = (line) => {
        const [name, begin, ...rest] = line.split(' | ');
        return begin && byName.get(name)?.words.startsWith(begin) ?
          [name, ...rest].join(' | ') : line;
      };
      const kinds = ['component', 'topic type', 'topic', 'service', 'report'];
      await open('ids.html');
      same('ids.html', (await linesOfPage()).map(begins), kinds.flatMap((kind) =>
        enums.filter(({ ids }) => ids === kind)).flatMap((type) => [
        [type.fullName, ...type.open.map((point) => `open: ${squeeze(point)}`)]
            .join(' | '), ...type.members.map(lineOfValue)]));

      // A long list is in blocks of a hundred, each with a link to it.
      const blocks = enums.filter(({ ids, members }) =>
        ids && members.length > 60).flatMap(({ name, members }) =>
        [...new Set(members.map(({ number }) => Math.floor(number / 100)))]
            .filter(Boolean).map((hundred) => `${name}.${hundred}: ${members.map(
                (member) => member.number).filter((number) =>
              Math.floor(number / 100) === hundred).join(' ')}`));
      assert.ok(blocks.length > 1);
      same('blocks', await page.$$eval('tbody[id]', (all) => all.map((block) =>
        `${block.id}: ${[...block.querySelectorAll('td.num')].map(
            (cell) => cell.textContent).join(' ')}`)), blocks);
      same('links to blocks', await page.$$eval('.jump a', (all) =>
        all.map((a) => a.hash.slice(1))), blocks.map((line) => line.split(':')[0]));

      const rows = (selector, cells) => page.$$eval(selector, (all, parts) =>
        all.map((node) => parts.flatMap((part) =>
          [...node.querySelectorAll(part)].map((cell) => cell.href ?
            decodeURIComponent(cell.hash.slice(1)) || cell.textContent :
            cell.textContent.replace(/\s+/g, ''))).filter(Boolean).join(' | ')),
      cells);
      const grouped = groups.map((group) => schemas.filter(
          ({ subsystem }) => subsystem === group));
      await open('open.html');
      same('open.html', await rows('.questions > div', ['dt a:last-child', 'p']),
          grouped.flat().flatMap((schema) => [schema,
            ...[...schema.enums, ...schema.messages].flatMap(
                (type) => [type, ...type.members])])
              .filter(({ open: points }) => points.length)
              .map(({ fullName, open: points }) =>
                [fullName, ...points.map(squeeze)].join(' | ')));

      const travels = (fullName) => {
        const ids = values.filter(({ carries }) => carries === fullName);
        return [...ids.map((id) => id.number), ...ids.map((id) => id.fullName)];
      };
      await open('index.html');
      // The drawing has each schema, once, but for the list of components.
      same('drawing', (await page.$$eval('.system a', (all) =>
        all.map((a) => a.textContent))).sort(), schemas.map(({ name }) =>
        name.replace('.proto', '')).filter((stem) => stem !== 'uavComponentID').sort());
      same('index.html', await rows('.map li', ['a[href^="schema/"]', 'code']),
          [...grouped.flat().map(({ name, title }) =>
            `${title} | ${name.replace('.proto', '')}`), ...Array(5).fill('')]);
      assert.match(await page.textContent('main'), new RegExp(
          `${schemas.length} schemas, ${messages.length} messages, ` +
          `${enums.length} enums`));
      for (const [i, group] of groups.entries()) {
        await open(`subsystem/${group}.html`);
        same(group, await rows('main h2', ['a', 'code']),
            grouped[i].map(({ title, name }) => `${title} | ${name}`));
        same(group, (await rows('table:not(.enums) tbody tr',
            ['th a', '.meaning', '.number', 'td a'])).map(begins),
        grouped[i].flatMap((schema) => schema.messages).map(({ fullName }) =>
          [fullName, ...travels(fullName)].join(' | ')));
        same(group, (await rows('.enums tbody tr',
            ['th a', '.meaning', 'td:last-child'])).map(begins),
        grouped[i].flatMap((schema) => schema.enums).map((type) =>
          `${type.fullName} | ${type.members.length}`));
      }
    });

test('the list of ids shows what its filter asks for, and keeps that in the address',
    async () => {
      const shown = () => page.$$eval('.values tr[data-device]', (all) => all
          .filter((tr) => tr.checkVisibility())
          .map((tr) => tr.querySelector('.num').textContent));
      await open('ids.html');
      const all = enums.filter(({ ids }) => ids).flatMap((e) => e.members);
      assert.equal((await shown()).length, all.length);
      await page.getByLabel('Settled only').check();
      same('settled', (await shown()).sort(), all.filter(
          ({ carries }) => carries).map(({ number }) => String(number)).sort());
      await page.getByLabel('Device').selectOption('Gimbal');
      await page.getByLabel('Kind').selectOption('Topic type');
      const gimbal = all.filter(({ carries, owner }) =>
        carries?.startsWith('zorvik.gimbal.') && owner.ids === 'topic type');
      const wanted = gimbal.map(({ number }) => String(number));
      same('gimbal', await shown(), wanted);
      assert.match(await page.textContent('output'),
          new RegExp(`^${wanted.length} of ${all.length}$`));
      assert.equal(await page.locator('h2:visible').count(), 1);
      assert.equal(await page.locator('.jump a:visible').count(), 1);
      await page.reload();
      same('after the page was loaded again', await shown(), wanted);
      // The block of a device is its own, settled or not.
      await page.goto(new URL('ids.html?device=factoryTestMessage', site).href);
      assert.ok((await shown()).includes('10303'));
      assert.ok(!(await shown()).includes('10404'));
      // Names are not broken.
      await open('ids.html');
      assert.deepEqual(await page.$$eval('.ids th[scope] code', (names) =>
        names.filter((name) => name.getBoundingClientRect().height > 25)
            .map((name) => name.textContent)), []);
    });

test('the accessors are those of the headers', () => {
  same('accessors', fields.flatMap(missingAccessors), []);
});

// The values of a text in text format. A zero is mostly not encoded.
function valuesOf(text) {
  const plain = text.replace(/"(\\.|[^"\\])*"/g, '""');
  const strings = text.matchAll(/(\w+): ("[^"\\]+")/g);
  const words = plain.matchAll(/(\w+): ([A-Za-z_]\w*)/g);
  const numbers = plain.matchAll(/(\w+): (-?[\d.]+(?:e[-+]?\d+)?)(?![\w.])/g);
  return [
    ...[...strings].map(([, name, string]) => `${name} ${string}`),
    ...[...words].filter(([, , word]) => word !== 'false' &&
      values.find(({ name }) => name === word)?.number !== 0)
        .map(([, name, word]) => `${name} ${word}`),
    ...[...numbers].filter(([, , number]) => !Object.is(Number(number), 0))
        .map(([, name, number]) => `${name} ${Number(number) || number}`)];
}

test('examples show the vectors, and what each byte means', async () => {
  const examples = [];
  for (const { page: url } of schemas) {
    await open(url);
    examples.push(...await page.$$eval('.message .example', (all) => {
      const words = (node) => node?.textContent.replace(/\s+/g, ' ').trim() ?? '';
      return all.map((node) => ({
        line: [node.closest('section').querySelector('h3').id,
          words(node.querySelector('.caption')),
          [...node.querySelectorAll('.part')].map(words).join(' '),
          words(node.querySelector('.text code')),
          ...[...node.querySelectorAll('.also')].map(words)].join(' | '),
        parts: [...node.querySelectorAll('.part')].map(words),
        rows: [...node.querySelectorAll('.parts tbody tr')].map((row) => ({
          at: Number(row.cells[0].textContent),
          bytes: [1, 2, 3].map((i) => words(row.cells[i])).filter(Boolean)
              .join(' '),
          name: words(row.cells[4]),
          reads: words(row.cells[5].children[0]),
          named: words(row.cells[5].children[1]),
        })),
        text: words(node.querySelector('.text code')),
      }));
    }));
  }
  same('examples', examples.map(({ line }) => line).sort(), vectors.map((v) => [
    v.message, v.name[0].toUpperCase() + v.name.slice(1), v.input ?? v.hex ?? '',
    (v.text ?? '').replace(/\s+/g, ' ').trim(),
    ...(v.also ?? []).map((bytes) => `Reads the same ${bytes || 'no bytes'}`),
    ...(v.input ? [`Written again ${v.hex}`] : []),
    ...(v.rejects ?? []).map((bytes) => `Does not parse ${bytes}`),
  ].join(' | ')).sort());
  for (const { line, parts, rows, text } of examples) {
    same(line, rows.map(({ bytes }) => bytes), parts);
    let at = 0;
    const read = rows.flatMap((row) => {
      assert.equal(row.at, at, `${line}: where ${row.name} begins`);
      at += row.bytes.split(' ').length;
      const enums = fields.filter(({ name, enum: of }) =>
        of && name === row.name && /^-?\d+$/.test(row.reads)).map(({ enum: of }) => of);
      const declared = values.filter(({ owner, number }) =>
        enums.includes(owner.fullName) && number === Number(row.reads)).map(({ name }) => name);
      assert.ok([...declared, ...enums.length && !declared.length ? ['not declared'] : []]
        .includes(row.named) || !declared.length && !row.named, `${line}: ${row.name}`);
      return [...row.reads.split(', ').map((value) =>
        `${row.name} ${Number.isNaN(Number(value)) ? value : Number(value)}`),
      `${row.name} ${row.named}`, `${row.name} ${row.reads}`];
    });
    // Of bytes their number is shown.
    const counted = (value) => value.replace(/"(.*)"/, (_, { length }) =>
      `${length} byte${length === 1 ? '' : 's'}`);
    same(line, valuesOf(text).filter((value) =>
      !read.includes(value) && !read.includes(counted(value))), []);
  }
});

// What is found for each query: the field says that it has been typed into.
const lookAll = async (queries) => {
  await page.focus('#query');
  await page.waitForFunction(() => globalThis.searchIndex);
  return page.evaluate(look, queries);
};
const look = (queries) => queries.map((query) => {
  const field = document.getElementById('query');
  field.value = query;
  field.dispatchEvent(new Event('input'));
  return [...document.querySelectorAll('#results [role="option"]')].map(
      (hit) => ({
        url: hit.getAttribute('href').replace('../', ''),
        number: hit.querySelector('.number').textContent,
        name: hit.querySelector('.name').textContent,
      }));
});
const first = async (queries) =>
  (await lookAll(queries)).map(([hit]) => hit?.url ?? 'nothing');
const target = ({ page: url, fullName }) => `${url}#${fullName}`;
const most = 40;  // So many are shown.

test('the search finds by number, and by how it begins', async () => {
  await open('index.html');
  const numbers = [...new Set(values.map(({ number }) => String(number)))];
  for (const [prefix, base] of [['', 10], ['0x', 16]]) {
    const queries = numbers.map((number) => prefix + Number(number).toString(base));
    same(`base ${base}`, (await lookAll(queries)).map(([hit]) => hit?.number),
        numbers);
  }
  // Without 0x it is still found, among what else the digits mean.
  const bare = await lookAll(numbers.map((n) => Number(n).toString(16)));
  same('bare', numbers.filter((n, i) =>
    n.length > 3 && !bare[i].some(({ number }) => number === n)), []);
  const begins = [...new Set(numbers.filter((n) => n.length > 3)
      .map((n) => n.slice(0, -1)))];
  for (const [i, hits] of (await lookAll(begins)).entries()) {
    const wanted = values.filter(({ number }) =>
      String(number).startsWith(begins[i]));
    if (wanted.length > most) continue;
    same(begins[i], hits.slice(0, wanted.length).map(({ url }) => url).sort(),
        wanted.map(target).sort());
  }
  assert.match(await page.textContent('#found'), /^\d+ found/);
});

test('the search finds by name, however it is written, and by its beginning',
    async () => {
      await open('schema/gimbalMessage.html');
      const all = [...messages, ...enums, ...values];
      same('full names', await first(all.map(({ fullName }) => fullName)),
          all.map(target));
      const lower = all.map(({ name }) => name.toLowerCase());
      const unique = all.filter((_, i) =>
        lower.indexOf(lower[i]) === lower.lastIndexOf(lower[i]));
      assert.ok(unique.length > messages.length);
      same('names', await first(unique.map(({ name }) => name)),
          unique.map(target));
      // What begins so comes first, and what is asked for is there.
      const begins = all.map(({ name }) => name.slice(0, 2) + name.slice(2, -2));
      const found = await lookAll(begins);
      same('beginnings of names', begins.filter((query, i) =>
        !found[i][0]?.name.toLowerCase().startsWith(query.toLowerCase()) ||
        found[i].length < most &&
          !found[i].some(({ url }) => url === target(all[i]))), []);
      for (const [query, hit] of [
        ['type.googleapis.com/zorvik.gimbal.UavGimbalRotateReqMessage', 'Rotate'],
        ['zorvik::gimbal::UavGimbalRotateReqMessage', 'Rotate'],
        ['uavgimbalrotatereq', 'Rotate'], ['gimbal rotate req', 'Rotate'],
        ['uavattitude()', '.uavAttitude'],
        ['streamMessage.proto', 'schema/streamMessage.html'],
        ['#include "streamMessage.pb.h"', 'schema/streamMessage.html'],
        ['streamMessage_pb2', 'schema/streamMessage.html'],
        ['zorvik/topics.h', '#use-it'],
        ['in wireshark', 'guide/wireshark.html'],
        ['topic_type=10404', '#zorvik.channel.CHANNEL_TOPIC_TYPE_GIMBAL_ROTATE'],
        ['08 A4 51 10', 'decode.html#hex=08A45110'],
        ['0x08,0xa4,0x51,0x10', 'decode.html#hex=08a45110'],
        ['UavGimbleRotatReq', 'Rotate'], ['uavgimblarotatereqmesage', 'Rotate'],
        ['gimbel', 'schema/gimbalMessage.html'],
        ['gimbal banana', 'schema/gimbalMessage.html'],
      ]) {
        const url = hit === 'Rotate' ? 'schema/gimbalMessage.html' +
          '#zorvik.gimbal.UavGimbalRotateReqMessage' : hit;
        assert.ok((await first([query]))[0].endsWith(url), query);
      }
    });

test('the search finds by what is carried and by words, or says that it does not',
    async () => {
      await open('index.html');
      const ids = values.filter(({ carries }) => carries);
      const carried = ids.map(({ carries }) =>
        messages.find(({ fullName }) => fullName === carries));
      const missing = (found, wanted) => wanted.filter((element, i) =>
        !found[i].some(({ url }) => url === target(element))).map(target);
      same('ids by their message', missing(
          await lookAll(carried.map(({ name }) => name)), ids), []);
      same('messages by their id', missing(
          await lookAll(ids.map(({ name }) => name)), carried), []);
      const [schema, field] = await first(
          ['pulse triggered', 'mounting position given at registration']);
      assert.match(schema, /timeSyncMessage/);
      assert.match(field, /payload_position$/);
      // A guide by the words below each of its headings.
      for (const url of pages.filter((name) => name.startsWith('guide/'))) {
        await open(url);
        const sections = (await page.$$eval('main h2[id] + p', (all) => all.map(
            (p) => [p.previousElementSibling.id,
              p.textContent.match(/\b[a-z]{3,}(?=[ .,])/g) ?? []])))
            .filter(([, words]) => words.length > 3);
        const hits = await lookAll(sections.map(([, words]) => words.slice(0, 8).join(' ')));
        same(`words of ${url}`, sections.filter(([id], i) =>
          !hits[i].some((hit) => hit.url === `${url}#${id}`)).map(String), []);
      }
      await page.fill('#query', 'qqqq');
      assert.equal(await page.locator('#results [role="option"]').count(), 0);
      assert.match(await page.textContent('#found'), /^Nothing/);
    });

test('words of the field lead to what the vocabulary calls it', async () => {
  await open('index.html');
  await lookAll(['']);
  const synonyms = await page.evaluate(() => globalThis.searchIndex.synonyms);
  const words = Object.keys(synonyms);
  for (const [i, hits] of (await lookAll(words)).entries()) {
    await page.fill('#query', words[i]);
    for (const meant of synonyms[words[i]]) {
      assert.ok((await page.textContent('#found')).includes(`“${meant}”`),
          `${words[i]}: nothing is found for ${meant}`);
    }
    assert.ok(hits.length > 0);
  }
  await page.fill('#query', 'enabled');  // It has led in it, which is another word.
  assert.doesNotMatch(await page.textContent('#found'), /with/);
  const [[rth], [wifi]] = await lookAll(['RTH', 'wifi']);
  assert.match(rth.url, /FLY_CONTROL_START_GO_HOME$/);
  assert.match(wifi.url, /link/);
});

test('the search shows the first hits, and all of them when asked by a finger',
    async () => {
      const context = await browser.newContext({ hasTouch: true, isMobile: true,
        viewport: { width: 390, height: 800 } });
      page = await context.newPage();
      await open('schema/gimbalMessage.html');
      const [hits] = await lookAll(['camera']);
      assert.equal(hits.length, most);
      const [, count] = /^(\d+) found; the first 40/.exec(
          await page.textContent('#found'));
      await page.locator('#more').tap();
      const options = page.locator('#results [role="option"]');
      assert.equal(await options.count(), Number(count));
      assert.ok(await page.locator('#more').isHidden());
      await options.nth(50).tap();
      await page.waitForURL(/cameraMessage|channelMessage/);
      await context.close();
      page = null;
    });

test('the keyboard suffices', async () => {
  await open('schema/accessMessage.html');
  await page.keyboard.press('/');
  const input = page.getByRole('combobox', { name: /search/i });
  assert.ok(await input.evaluate((node) => node === document.activeElement));
  assert.equal(await input.inputValue(), '');
  // Within a text it is a character like others.
  await page.keyboard.press('/');
  assert.equal(await input.inputValue(), '/');
  await input.fill('gimbal');
  const seen = [];
  for (const key of ['Shift', 'ArrowDown', 'ArrowUp', 'ArrowUp', 'ArrowDown']) {
    await page.keyboard.press(key);
    seen.push(await page.evaluate(() => {
      const id = document.activeElement.getAttribute('aria-activedescendant');
      const chosen = document.querySelector('#results [aria-selected="true"]');
      return chosen?.id === id && chosen.href;
    }));
  }
  const [top, second, , last] = seen;
  assert.deepEqual(seen, [top, second, top, last, top]);
  assert.equal(new Set([false, top, second, last]).size, 4,
      'the list does not go round');
  await page.keyboard.press('Escape');
  assert.equal(await input.getAttribute('aria-expanded'), 'false');
  assert.ok(await page.locator('#results').isHidden());
  // The button below the list is reached, and the list stays for it.
  await input.fill('camera');
  await page.keyboard.press('Tab');
  assert.ok(await page.locator('#more').evaluate(
      (node) => node === document.activeElement));
  await page.keyboard.press('Enter');
  assert.ok(await page.locator('#results [role="option"]').count() > most);
  assert.ok(await input.evaluate((node) => node === document.activeElement));
  await input.fill('UavGimbalRspMessage');
  assert.equal(await input.getAttribute('aria-expanded'), 'true');
  await page.keyboard.press('Enter');
  await page.waitForURL(/gimbalMessage/);
  assert.equal(place(),
      'schema/gimbalMessage.html#zorvik.gimbal.UavGimbalRspMessage');
  assert.ok(await page.locator('[id="zorvik.gimbal.UavGimbalRspMessage"]')
      .evaluate((node) => {
        const { top: y } = node.getBoundingClientRect();
        const bar = document.querySelector('.site-header');
        return y >= bar.getBoundingClientRect().bottom && y < innerHeight;
      }), 'the heading is out of sight');
  await page.keyboard.press('Tab');
  assert.ok(await page.evaluate(
      () => document.activeElement.matches(':focus-visible')));
});

test('a button copies the code beside it, or selects it', async () => {
  await open('schema/gimbalMessage.html');
  await page.locator('.code summary').first().click();
  const snippet = page.locator('.snippet').first();
  const code = await snippet.locator('code').textContent();
  const button = snippet.getByRole('button');
  await page.context().grantPermissions(['clipboard-read', 'clipboard-write']);
  await button.click();
  await snippet.getByText('Copied').waitFor();
  assert.equal(await page.evaluate(() => navigator.clipboard.readText()), code);
  await page.evaluate(() => Object.defineProperty(navigator, 'clipboard', {}));
  await snippet.getByText(/^Copy$/).click();
  await snippet.getByText('Selected').waitFor();
  assert.equal(await page.evaluate(() => String(getSelection()).trim()), code.trim());
});

test('without scripts all can be read, and nothing is there that does nothing',
    async () => {
      const context = await browser.newContext({ javaScriptEnabled: false });
      page = await context.newPage();
      const shown = (selector) => page.locator(selector).first().isVisible();
      await open('schema/gimbalMessage.html');
      assert.ok(await shown('.fields') && await shown('.bytes'));
      assert.ok(!await shown('.search') && !await shown('button'));
      await page.locator('.code summary').first().click();
      assert.ok(await shown('.snippet pre'));
      await open('ids.html');
      assert.ok(await shown('.ids') && !await shown('.filter'));
      await open('decode.html');
      assert.ok(await shown('noscript p') && !await shown('.decoder'));
      await context.close();
      page = null;
    });

test('tables keep their roles on a narrow screen', async () => {
  await page.setViewportSize({ width: 390, height: 800 });
  await open('schema/gimbalMessage.html');
  const table = page.getByRole('table',
      { name: 'Fields of UavGimbalRotateReqMessage' });
  assert.equal(await table.getByRole('rowheader').count(), 4);
  assert.equal(await table.getByRole('columnheader').count(), 5);
});

test('paper gets the content, all of it, and nothing else', async () => {
  await open('schema/gimbalMessage.html');
  await page.emulateMedia({ media: 'print', colorScheme: 'dark' });
  assert.ok(await page.locator('.site-header').isHidden());
  assert.ok(await page.locator('.contents').isHidden());
  const folded = page.locator('main details:not([open])');
  assert.ok(await folded.count() > 0);
  await page.evaluate(() => dispatchEvent(new Event('beforeprint')));
  assert.equal(await folded.count(), 0);
  const [red] = (await page.evaluate(
      () => getComputedStyle(document.body).backgroundColor)).match(/\d+/g);
  assert.ok(Number(red) > 240, 'the paper is dark');
  // A drawing stays on one page of A4, which has room for 25 cm.
  await open('guide/exchanges.html');
  for (const drawing of await page.locator('.diagram svg').all()) {
    const { height } = await drawing.boundingBox();
    assert.ok(height < 25 * 96 / 2.54, `a drawing is ${height} px high`);
  }
  assert.equal(await page.locator('.diagram').first().evaluate(
      (node) => getComputedStyle(node).breakInside), 'avoid');
  assert.equal(await page.locator('.diagram').first().evaluate(
      (node) => getComputedStyle(node).overflowY), 'clip');
});

test('diagrams name what they show, and link to it', async () => {
  await open('guide/exchanges.html');
  const figures = page.locator('.diagram');
  const guide = readFileSync(
      new URL('../../docs/exchanges.md', import.meta.url), 'utf8');
  assert.equal(await figures.count(), guide.match(/^```mermaid$/gm).length);
  for (const figure of await figures.all()) {
    assert.ok(await figure.locator('svg > title').count() === 1);
    assert.ok(await figure.locator('svg a').count() > 0);
  }
  // A label that looks like a name is the name of something.
  const plain = await page.$$eval('.diagram svg text', (texts) =>
    texts.map((text) => {
      const copy = text.cloneNode(true);
      for (const link of copy.querySelectorAll('a')) link.remove();
      return copy.textContent;
    }));
  for (const text of plain) {
    assert.doesNotMatch(text, /[a-z][A-Z]|[A-Z]{2,}_[A-Z]/,
        'a diagram names what is not there');
  }
});

test('without a browser, pages are the same but for the drawings', (t) => {
  const folder = mkdtempSync(`${tmpdir()}/site-test-`);
  t.after(() => rmSync(folder, { recursive: true }));
  const root = new URL('../../', import.meta.url).pathname;
  const { status, stderr } = spawnSync('/usr/bin/python3', [`${root}docs/site/build.py`,
    `${root}build/release/generated/catalogue.json`, `${folder}/site`, 'text'], {
    encoding: 'utf8', env: { ...process.env, PYTHONDONTWRITEBYTECODE: '1' } });
  assert.equal(stderr, '');
  assert.equal(status, 0);
  const drawing = /(<figure class="diagram".*?>)(?:(?!<figcaption)[^])*?((?:<figcaption>.*?<\/figcaption>)?)[^]*?<\/figure>/g;
  for (const url of pages) {
    const [text, drawn] = [`file://${folder}/site/`, site].map((base) =>
      readFileSync(new URL(url, base), 'utf8').replace(drawing, '$1$2'));
    assert.equal(text, drawn, url);
  }
});

test('a guide that points at a missing file is refused', (t) => {
  const folder = mkdtempSync(`${tmpdir()}/site-test-`);
  t.after(() => rmSync(folder, { recursive: true }));
  mkdirSync(`${folder}/docs`);
  for (const [text, said] of [
    ['[more](missing.md)', 'links to missing.md'],
    ['[more](../missing/#part)', 'links to ../missing/#part'],
    ['![a curve](missing.svg)', 'shows docs/missing.svg'],
  ]) {
    writeFileSync(`${folder}/docs/guide.md`, `# Guide\n\n${text}\n`);
    const { status, stderr } = spawnSync('/usr/bin/python3', ['-c', `
import guides, pathlib, sys, types
folder = pathlib.Path(sys.argv[1])
guide = guides.Guide(folder / "docs/guide.md", folder, "guide")
vocabulary = types.SimpleNamespace(schemas=[], elements={})
guides.Renderer(folder, vocabulary, [guide]).render_all()`, folder], {
      encoding: 'utf8', env: { ...process.env, PYTHONDONTWRITEBYTECODE: '1',
        PYTHONPATH: new URL('../../docs/site', import.meta.url).pathname } });
    assert.equal(stderr, `docs: docs/guide.md ${said}, which is not there\n`);
    assert.equal(status, 1);
  }
});
