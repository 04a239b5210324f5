// Search as you type over the index of search-index.js, which is loaded when the
// field is used for the first time.

const root = document.documentElement.dataset.root;
const box = document.querySelector('.search');
const input = document.getElementById('query');
const panel = document.getElementById('panel');
const list = document.getElementById('results');
const found = document.getElementById('found');
const more = document.getElementById('more');
const FIRST = 40;

// How much a kind of thing counts when names match alike.
const WEIGHT = { message: 30, enum: 28, schema: 26, subsystem: 20, value: 15,
  guide: 10, field: 0 };

const squash = (text) => text.toLowerCase().replace(/[\s_.:/-]+/g, '');

let entries;
let synonyms;

const wordsOf = (name) => name.replace(/([a-z0-9])([A-Z])/g, '$1 $2')
    .toLowerCase().split(/[\s_.]+/);

// Calls back when the index is there; at once when it has been loaded before.
function load(then) {
  if (entries) return then();
  const script = document.createElement('script');
  script.src = `${root}search-index.js`;
  script.addEventListener('load', () => {
    ({ synonyms } = globalThis.searchIndex);
    entries ??= globalThis.searchIndex.entries.map(
        ([kind, name, number, where, url, about]) => ({
          kind, name, number, where, url, about,
          lower: name.toLowerCase(),
          full: kind === 'guide' ? '' : (url.split('#')[1] ?? '').toLowerCase(),
          // Of prose, the words stay apart.
          squashed: kind === 'guide' ? name.toLowerCase() : squash(name),
          words: wordsOf(name),
          text: about.toLowerCase(),
        }));
    then();
  });
  document.head.append(script);
}

// Names as people paste them: from C++, from a type URL, with parentheses, of
// a generated file.
const plain = (query) => query.toLowerCase()
    .replace(/type\.googleapis\.com\//g, '')
    .replaceAll('::', '.').replace(/[()[\]{}="'`,;<>]|#include/g, ' ')
    .replace(/(\w)(\.pb\.(h|cc)|_pb2(\.pyi?)?|_pb(\.js|\.d\.ts)?)(?!\S)/g,
        '$1.proto')
    .trim().replace(/\s+/g, ' ');

// What numbers a term may mean, each with how much that counts.
function numbersOf(term) {
  const numbers = [];
  if (/^\d+$/.test(term)) numbers.push([term, 1]);
  const hex = /^(0x)?([0-9a-f]{1,8})h?$/.exec(term);
  if (hex) numbers.push([String(parseInt(hex[2], 16)), hex[1] ? 1 : 0.5]);
  return numbers;
}

function scoreNumber(entry, term) {
  if (entry.number === null) return 0;
  const number = String(entry.number);
  return Math.max(0, ...numbersOf(term).map(([meant, weight]) => {
    if (entry.kind === 'field') return number === meant ? 60 * weight : 0;
    if (number === meant) return 1000 * weight;
    return meant === term && term.length > 1 && number.startsWith(term) ? 300 : 0;
  }));
}

function scoreName(entry, term) {
  const { lower, full, words, squashed } = entry;
  if (full === term) return 950;
  if (entry.kind === 'schema' && entry.where.toLowerCase() === term) return 920;
  if (lower === term || lower === `${term}.proto`) return 900;
  if (lower.startsWith(term)) return 600;
  if (words.some((word) => word === term)) return 480;
  if (words.some((word) => word.startsWith(term))) return 450;
  if (lower.includes(term)) return 300;
  const short = squash(term);
  if (short.length > 2 && squashed.includes(short)) return 280;
  return term.length > 2 && full.includes(term) ? 200 : 0;
}

function scoreText({ text }, term) {
  for (let at = text.indexOf(term); at >= 0; at = text.indexOf(term, at + 1)) {
    if (at === 0 || /\W/.test(text[at - 1])) return 80;
  }
  // Within a word, a few letters mean nothing.
  return term.length > 3 && text.includes(term) ? 30 : 0;
}

// The entries that have most of the terms, and whether that is all of them.
function match(query) {
  const terms = query.split(' ');
  const phrase = terms.length > 1 ? squash(query) : null;
  const hits = [];
  let most = 1;
  for (const entry of entries) {
    const scores = terms.map((term) => Math.max(scoreNumber(entry, term),
        scoreName(entry, term), scoreText(entry, term)));
    const count = scores.filter(Boolean).length;
    if (count < most) continue;
    most = count;
    const bonus = phrase && entry.squashed.includes(phrase) ? 400 : 0;
    // The page of a guide comes before its parts.
    const page = entry.kind === 'guide' && !entry.url.includes('#') ? 20 : 0;
    hits.push({ entry, count, score: bonus + page + WEIGHT[entry.kind] -
      entry.name.length / 4 + scores.reduce((a, b) => a + b) });
  }
  return { terms, all: most === terms.length && hits.length > 0,
    hits: hits.filter(({ count }) => count === most) };
}

// The entries of hits, each once, best first.
const ranked = (hits) => [...new Set(
    hits.sort((a, b) => b.score - a.score).map(({ entry }) => entry))];

// How alike two words are, from 0 to 1, by the pairs of letters that both have.
function alikeness(one, other) {
  const pairs = (word) => [...word, ' '].map((_, i) => ` ${word} `.slice(i, i + 2));
  const left = pairs(other);
  const total = one.length + other.length + 2;
  let shared = 0;
  for (const pair of pairs(one)) {
    const at = left.indexOf(pair);
    if (at < 0) continue;
    left.splice(at, 1);
    shared += 1;
  }
  return 2 * shared / total;
}

// The word or name that is nearest to a term.
function nearest(term) {
  let [best, most] = [null, 0.55];
  const seen = new Set();
  for (const { name, words, squashed } of entries) {
    for (const [word, shown] of [[squashed, name], ...words.map((w) => [w, w])]) {
      if (word.length < 3 || Math.abs(word.length - term.length) > 9 ||
          seen.has(word)) continue;
      seen.add(word);
      const alike = alikeness(squash(term), word);
      if (alike > most) [best, most] = [shown, alike];
    }
  }
  return best;
}

// What is found for a query and for the words that stand for it, and what to
// say of it.
function search(typed) {
  const query = plain(typed);
  if (!query) return { terms: [], hits: [], note: '' };
  const results = [match(query)];
  const meant = [];
  for (const [word, others] of Object.entries(synonyms)) {
    if (!` ${query} `.includes(` ${word} `)) continue;
    for (const other of others) {
      results.push(match(` ${query} `.replace(` ${word} `, ` ${other} `).trim()));
      if (results.at(-1).all) meant.push(`“${other}”`);
    }
  }
  const good = results.filter(({ all }) => all);
  if (good.length) {
    return { terms: good.flatMap(({ terms }) => terms),
      hits: ranked(good.flatMap(({ hits }) => hits)),
      note: meant.length ? ` with ${meant.join(', ')}` : '' };
  }
  const bytes = typed.replace(/0x|\\x|[\s,:-]/gi, '');
  if (/^([\da-f]{2}){4,}$/i.test(bytes)) {
    return { terms: [query], note: '', hits: [{ kind: 'bytes', number: null, where: '',
      name: 'Decode these bytes', url: `decode.html#hex=${bytes}`, lower: '',
      about: `What each of the ${bytes.length / 2} is for.`, text: '' }] };
  }
  const near = query.split(' ').map((term) =>
    match(term).all ? term : nearest(term)).filter(Boolean).join(' ');
  if (near && near !== query) {
    const result = match(plain(near));
    return { ...result, hits: ranked(result.hits),
      note: ` for “${near}”, the nearest name` };
  }
  return { ...results[0], hits: ranked(results[0].hits),
    note: ', none with all the words' };
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
  const link = document.createElement('a');
  link.dataset.kind = entry.kind;
  link.id = `result-${index}`;
  link.setAttribute('role', 'option');
  link.setAttribute('aria-selected', 'false');
  link.href = root + entry.url;
  link.tabIndex = -1;
  link.append(element('span', 'kind', entry.kind), marked(entry.name, terms));
  link.append(element('span', 'number', entry.number ?? ''));
  const about = excerpt(entry, terms);
  const where = entry.where ? `${entry.where}${about ? ': ' : ''}` : '';
  link.append(element('span', 'about', where + about));
  return link;
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
  panel.hidden = true;
  input.setAttribute('aria-expanded', 'false');
  input.removeAttribute('aria-activedescendant');
}

function show(most = FIRST) {
  const { terms, hits, note } = search(input.value);
  if (!terms.length) {
    found.textContent = '';
    close();
    return;
  }
  list.replaceChildren(
      ...hits.slice(0, most).map((hit, i) => option(hit, terms, i)));
  list.hidden = !hits.length;
  panel.hidden = false;
  list.scrollTop = 0;
  input.setAttribute('aria-expanded', String(hits.length > 0));
  const shown = hits.length > most ? `; the first ${most} are shown` : '';
  found.textContent = hits.length ?
    `${hits.length} found${note}${shown}` :
    'Nothing of that name or number.';
  more.hidden = hits.length <= most;
  more.textContent = `Show all ${hits.length}`;
  selected = -1;
  select(0);
}

function go() {
  const chosen = list.querySelector('[aria-selected="true"]');
  if (!chosen || panel.hidden) return;
  close();
  input.blur();
  location.href = chosen.href;
}

input.addEventListener('input', () => load(() => show()));
input.addEventListener('focus', () => load(() => {
  if (input.value && document.activeElement === input) show();
}));
box.addEventListener('focusout', (event) => {
  if (!box.contains(event.relatedTarget)) close();
});
box.addEventListener('keydown', (event) => {
  if (event.key !== 'Escape') return;
  event.preventDefault();
  if (panel.hidden) input.blur();
  else input.focus();
  close();
});
input.addEventListener('keydown', (event) => {
  const step = { ArrowDown: 1, ArrowUp: -1 }[event.key];
  if (step) {
    event.preventDefault();
    if (panel.hidden) load(() => show());
    else select(selected + step);
  } else if (event.key === 'Enter') {
    event.preventDefault();
    go();
  }
});
more.addEventListener('click', () => {
  const at = selected;
  input.focus();
  show(Infinity);
  select(at);
});
// Keeps the focus, and with it the list, until the click has arrived.
panel.addEventListener('mousedown', (event) => event.preventDefault());
list.addEventListener('click', (event) => {
  if (event.target.closest('a')) close();
});

document.addEventListener('keydown', (event) => {
  const typing = event.target.closest('input, textarea, select, [contenteditable]');
  if (event.key !== '/' || typing || event.ctrlKey || event.metaKey) return;
  event.preventDefault();
  input.focus();
  input.select();
});
