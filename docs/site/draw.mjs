// Draws sequence diagrams: reads a JSON list of Mermaid texts from standard
// input, writes the list of their SVG drawings to standard output.
//
// Mermaid measures text and so needs a browser. The drawings come without
// colours, shadows and fonts of their own: the site's style sheet sets these,
// for light and dark pages.
import { createRequire } from 'node:module';
import { text } from 'node:stream/consumers';
import { chromium } from 'playwright-core';

import { launchOptions } from './browser.mjs';

const mermaid =
    createRequire(import.meta.url).resolve('mermaid/dist/mermaid.min.js');

async function draw([source, index]) {
  const { svg } = await globalThis.mermaid.render(`exchange-${index}`, source);
  const holder = document.createElement('div');
  holder.innerHTML = svg;
  const root = holder.firstChild;
  const used = new Set([...root.innerHTML.matchAll(/url\(#([^)]+)\)/g)]
      .map((match) => match[1]));
  for (const node of root.querySelectorAll('style')) node.remove();
  for (const node of root.querySelectorAll('symbol, marker, filter')) {
    if (node.tagName === 'filter' || !used.has(node.id)) node.remove();
  }
  for (const node of root.querySelectorAll('linearGradient')) node.remove();
  for (const node of root.querySelectorAll('*')) {
    for (const name of ['style', 'fill', 'stroke', 'stroke-width', 'filter',
        'name', 'data-look', 'data-et', 'data-id', 'data-type']) {
      node.removeAttribute(name);
    }
  }
  for (const node of root.querySelectorAll('defs, g')) {
    if (!node.childNodes.length) node.remove();
  }
  root.removeAttribute('aria-roledescription');
  root.setAttribute('role', 'group');
  const [, , width] = root.getAttribute('viewBox').split(' ');
  root.setAttribute('style', `--width: ${Math.ceil(width)}px`);
  root.removeAttribute('width');
  return new XMLSerializer().serializeToString(root);
}

const sources = JSON.parse(await text(process.stdin));
const browser = await chromium.launch(launchOptions);
try {
  const page = await browser.newPage();
  await page.setContent('<!doctype html><html lang="en"></html>');
  await page.addScriptTag({ path: mermaid });
  await page.evaluate(() => globalThis.mermaid.initialize({
    startOnLoad: false,
    theme: 'base',
    look: 'classic',
    // The widest font that texts are shown in: any other leaves room.
    fontFamily: 'DejaVu Sans Mono',
    fontSize: 13,
    sequence: {
      mirrorActors: false,
      width: 130,
      height: 40,
      boxMargin: 8,
      messageMargin: 30,
      diagramMarginX: 8,
      diagramMarginY: 4,
      bottomMarginAdj: 12,
      wrapPadding: 8,
    },
  }));
  const drawings = [];
  for (const entry of sources.entries()) {
    drawings.push(await page.evaluate(draw, [entry[1], entry[0]]));
  }
  process.stdout.write(JSON.stringify(drawings));
} finally {
  await browser.close();
}
