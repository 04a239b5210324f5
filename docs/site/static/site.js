// Search as you type over the index of search-index.js, and the few things
// that style sheets cannot do. Without scripts, all pages can still be read.

const root = document.documentElement.dataset.root;
const input = document.getElementById('query');
const list = document.getElementById('results');
const found = document.getElementById('found');
const MOST = 40;

// How much a kind of thing counts when names match alike.
const WEIGHT = { message: 30, enum: 28, schema: 26, subsystem: 20, value: 15,
  guide: 10, field: 0 };

const squash = (text) => text.toLowerCase().replace(/[\s_.:/-]+/g, '');

let entries;

function load() {
  entries ??= globalThis.searchIndex.map(
      ([kind, name, number, where, url, about]) => ({
        kind, name, number, where, url, about,
        lower: name.toLowerCase(),
        full: (url.split('#')[1] ?? '').toLowerCase(),
        squashed: squash(name),
        // Where the words of a name begin: after _ and ., and at capitals.
        words: name.replace(/([a-z0-9])([A-Z])/g, '$1 $2')
            .toLowerCase().split(/[\s_.]+/),
        text: about.toLowerCase(),
      }));
}

// Names as people paste them: from C++, from a type URL, with parentheses.
function termsOf(query) {
  return query.toLowerCase().replace(/type\.googleapis\.com\//g, '')
      .replaceAll('::', '.').replace(/[()"'`,;]/g, ' ')
      .replace(/\b0x([0-9a-f]{1,8})\b/g, (_, digits) => parseInt(digits, 16))
      .trim().split(/\s+/).filter(Boolean);
}

function scoreNumber(entry, term) {
  if (entry.number === null) return 0;
  const number = String(entry.number);
  if (entry.kind === 'value') {
    if (number === term) return 1000;
    if (term.length > 1 && number.startsWith(term)) return 300;
  }
  return entry.kind === 'field' && number === term ? 60 : 0;
}

function scoreName(entry, term) {
  const { lower, full, words, squashed } = entry;
  if (full === term) return 950;
  if (lower === term || lower === `${term}.proto`) return 900;
  if (lower.startsWith(term)) return 600;
  if (words.some((word) => word === term)) return 480;
  if (words.some((word) => word.startsWith(term))) return 450;
  if (lower.includes(term)) return 300;
  const plain = squash(term);
  if (plain.length > 2 && squashed.includes(plain)) return 280;
  return term.length > 2 && full.includes(term) ? 200 : 0;
}

function scoreText(entry, term) {
  const at = entry.text.indexOf(term);
  if (at < 0) return 0;
  return at === 0 || /\W/.test(entry.text[at - 1]) ? 80 : 30;
}

function search(query) {
  const terms = termsOf(query);
  if (!terms.length) return [];
  const phrase = terms.length > 1 ? squash(terms.join('')) : null;
  const hits = [];
  for (const entry of entries) {
    let sum = 0;
    for (const term of terms) {
      const score = Math.max(
          /^\d+$/.test(term) ? scoreNumber(entry, term) : 0,
          scoreName(entry, term), scoreText(entry, term));
      if (!score) {
        sum = 0;
        break;
      }
      sum += score;
    }
    if (!sum) continue;
    if (phrase && entry.squashed.includes(phrase)) sum += 400;
    hits.push([sum + WEIGHT[entry.kind] - entry.name.length / 4, entry]);
  }
  return hits.sort((a, b) => b[0] - a[0]).map(([, entry]) => entry);
}

function element(tag, className, text) {
  const node = document.createElement(tag);
  node.className = className;
  node.textContent = text;
  return node;
}

// The name, to be broken where its words begin, with the first term marked.
function marked(name, terms) {
  const node = element('span', 'name', '');
  const term = terms.find((t) => name.toLowerCase().includes(t)) ?? '';
  const at = name.toLowerCase().indexOf(term);
  const mark = element('mark', '', '');
  for (const [holder, text] of [[node, name.slice(0, at)],
      [mark, name.slice(at, at + term.length)],
      [node, name.slice(at + term.length)]]) {
    if (holder === mark && text) node.append(mark);
    for (const word of text.split(/(?<=[a-z])(?=[A-Z])|(?<=[_.])/)) {
      holder.append(word, document.createElement('wbr'));
    }
  }
  return node;
}

// The comment, from the words on for which the entry was found.
function excerpt(entry, terms) {
  const at = terms.filter((term) => !entry.lower.includes(term))
      .map((term) => entry.text.indexOf(term)).find((i) => i > 50);
  if (at === undefined) return entry.about;
  return `… ${entry.about.slice(entry.about.lastIndexOf(' ', at - 20) + 1)}`;
}

function option(entry, terms, index) {
  const item = document.createElement('li');
  item.dataset.kind = entry.kind;
  item.id = `result-${index}`;
  item.setAttribute('role', 'option');
  item.setAttribute('aria-selected', 'false');
  const link = document.createElement('a');
  link.href = root + entry.url;
  link.tabIndex = -1;
  link.append(element('span', 'kind', entry.kind), marked(entry.name, terms));
  link.append(element('span', 'number', entry.number ?? ''));
  const about = excerpt(entry, terms);
  const where = entry.where ? `${entry.where}${about ? ': ' : ''}` : '';
  link.append(element('span', 'about', where + about));
  item.append(link);
  return item;
}

let selected = -1;

function select(index) {
  const options = list.querySelectorAll('[role="option"]');
  options[selected]?.setAttribute('aria-selected', 'false');
  selected = options.length ? (index + options.length) % options.length : -1;
  const chosen = options[selected];
  if (!chosen) {
    input.removeAttribute('aria-activedescendant');
    return;
  }
  chosen.setAttribute('aria-selected', 'true');
  chosen.scrollIntoView({ block: 'nearest' });
  input.setAttribute('aria-activedescendant', chosen.id);
}

function close() {
  list.hidden = true;
  input.setAttribute('aria-expanded', 'false');
  input.removeAttribute('aria-activedescendant');
}

function show() {
  load();
  const terms = termsOf(input.value);
  const hits = search(input.value);
  list.replaceChildren(
      ...hits.slice(0, MOST).map((hit, i) => option(hit, terms, i)));
  selected = -1;
  if (!terms.length) {
    found.textContent = '';
    close();
    return;
  }
  if (!hits.length) {
    const nothing = element('li', 'nothing', 'Nothing of that name or number.');
    nothing.setAttribute('role', 'presentation');
    list.append(nothing);
  }
  list.hidden = false;
  list.scrollTop = 0;
  input.setAttribute('aria-expanded', 'true');
  found.textContent = `${hits.length} found`;
  select(0);
}

function go() {
  const chosen = list.querySelector('[aria-selected="true"] a');
  if (!chosen) return;
  close();
  input.blur();
  location.href = chosen.href;
}

input.addEventListener('input', show);
input.addEventListener('focus', () => input.value && show());
input.addEventListener('blur', () => close());
input.addEventListener('keydown', (event) => {
  const step = { ArrowDown: 1, ArrowUp: -1 }[event.key];
  if (step) {
    event.preventDefault();
    if (list.hidden) show();
    else select(selected + step);
  } else if (event.key === 'Enter') {
    event.preventDefault();
    go();
  } else if (event.key === 'Escape') {
    event.preventDefault();
    if (list.hidden) input.blur();
    close();
  }
});
// Keeps the focus, and with it the list, until the click has arrived.
list.addEventListener('mousedown', (event) => event.preventDefault());
list.addEventListener('click', (event) => {
  if (event.target.closest('a')) close();
});

document.addEventListener('keydown', (event) => {
  const typing = event.target.closest('input, textarea, [contenteditable]');
  if (event.key !== '/' || typing || event.ctrlKey || event.metaKey) return;
  event.preventDefault();
  input.focus();
  input.select();
});

// The list of contents is folded where there is no room beside the text.
const contents = document.querySelector('.contents details');
const wide = matchMedia('(min-width: 62rem)');
const fold = () => contents?.toggleAttribute('open', wide.matches);
wide.addEventListener('change', fold);
fold();
contents?.addEventListener('click', (event) => {
  if (event.target.closest('a') && !wide.matches) {
    contents.removeAttribute('open');
  }
});

// A printed page shows the folded parts, too.
let unfolded = [];
addEventListener('beforeprint', () => {
  unfolded = [...document.querySelectorAll('details:not([open])')];
  for (const details of unfolded) details.open = true;
});
addEventListener('afterprint', () => {
  for (const details of unfolded) details.open = false;
});
