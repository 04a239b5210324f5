// Every page by the rules of axe-core, in both colour schemes and with forced
// colours, on a wide and on a narrow screen, and with the search open.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { after, before, test } from 'node:test';

import { chromium } from 'playwright-core';

import { launchOptions } from '../../docs/site/browser.mjs';
import { pages, site } from './expected.mjs';

const axe = readFileSync(
    createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');
let browser;
let page;

before(async () => {
  browser = await chromium.launch(launchOptions);
  page = await browser.newPage();
});
after(() => browser.close());

// What the rules object to, a line for each.
const objections = (where, rules) => page.evaluate(async ([context, values]) => {
  const { violations } = await globalThis.axe.run(context ?? document, {
    resultTypes: ['violations'],
    ...(values ? { runOnly: { type: 'rule', values } } : {}),
  });
  return violations.flatMap(({ id, nodes }) => nodes.map((node) =>
    `${id}: ${node.target.join(' ')}: ${node.failureSummary.split('\n')[1]}`));
}, [where, rules]);

// Sets the page to each way of looking at it, one after the other.
async function* views() {
  for (const [name, width, media] of [
    ['light', 1280, { colorScheme: 'light', forcedColors: 'none' }],
    ['dark', 390, { colorScheme: 'dark', forcedColors: 'none' }],
    ['forced', 1280, { colorScheme: 'dark', forcedColors: 'active' }],
  ]) {
    await page.setViewportSize({ width, height: 800 });
    await page.emulateMedia(media);
    yield name;
  }
}

async function open(url) {
  await page.goto(new URL(url, site).href);
  // What is folded has to be right, too.
  await page.evaluate(() => {
    for (const details of document.querySelectorAll('details')) details.open = true;
  });
  await page.evaluate(axe);
}

test('axe-core finds nothing on any page', async () => {
  const found = [];
  for (const url of [...pages, 'decode.html#hex=08ff', 'decode.html#hex=0801',
    'ids.html?device=gimbalMessage&settled=on']) {
    await open(url);
    for await (const view of views()) {
      // What does not hang on colours or size is the same in each view.
      const rules = view === 'light' ? null : ['color-contrast', 'link-in-text-block',
        'scrollable-region-focusable', 'target-size', 'hidden-content'];
      found.push(...(await objections(null, rules)).map(
          (line) => `${url}, ${view}: ${line}`));
    }
  }
  assert.equal(found.slice(0, 20).join('\n'), '');
});

test('axe-core finds nothing in the search, with hits and without', async () => {
  const found = [];
  for (const url of ['index.html', 'ids.html', 'decode.html']) {
    for await (const view of views()) {
      for (const query of ['camera', 'gimbel', 'qqqq']) {
        await open(url);
        await page.fill('#query', query);
        await page.waitForSelector('#panel:not([hidden])');
        found.push(...(await objections('.search')).map(
            (line) => `${url}, ${view}, ${query}: ${line}`));
      }
    }
  }
  assert.equal(found.slice(0, 20).join('\n'), '');
});
