// The page that explains pasted bytes. Nothing leaves the browser; the part of
// the address behind # holds the bytes, and is not sent either.
const ENVELOPE = 'zorvik.channel.channelTopicMessage';
const ENVELOPES = [ENVELOPE, 'zorvik.smc.smcMessage'];
const paste = document.getElementById('bytes');
const type = document.getElementById('type');
const result = document.getElementById('explained');
const state = document.getElementById('state');
const copy = document.querySelector('.controls .copy');
const { model, wire, bytesOf } = globalThis;

const linkTo = (url, text) => Object.assign(document.createElement('a'),
    { href: url, textContent: text });
const line = (className, ...parts) => {
  const p = document.createElement('p');
  p.className = className;
  p.append(...parts);
  return p;
};
const simple = (name) => name.split('.').at(-1);

// Whether the bytes are of that type: without a fault, and all of it declared.
function fits(name, bytes) {
  const { parts, faults } = wire.explain(model, name, bytes);
  return !faults.length && parts.every(({ url, inner, name: field }) =>
    url || inner || ['type_url', 'value'].includes(field));
}

// The type that was chosen, or else the envelope that the bytes are.
function typeOf(bytes) {
  if (type.value) return type.value;
  const content = (name) => wire.explain(model, name, bytes).parts.some(
      ({ inner, depth }) => depth > 0 && inner);
  return ENVELOPES.find((name) => fits(name, bytes) && content(name)) ??
    ENVELOPES.find(content) ?? ENVELOPE;
}

// What an envelope says on the whole.
function summary(name, parts) {
  const content = parts.find(({ depth, inner }) => depth === 1 && inner)?.inner;
  const lines = [];
  const shown = document.createElement('span');
  shown.append(linkTo(model.messages[name].url, simple(name)));
  if (content) shown.append(' with ', linkTo(model.messages[content].url, simple(content)));
  lines.push(line('sum', shown));
  const topic = name === ENVELOPE &&
    parts.find(({ depth, name: field }) => depth === 0 && field === 'topic_type');
  const id = topic && model.topics[topic.shown];
  if (topic && !id) {
    lines.push(line('fault', `${topic.shown} is no topic type of the vocabulary.`));
  }
  if (id && content && id.carries && id.carries !== content) {
    lines.push(line('fault', `${id.name} carries ${simple(id.carries)}, ` +
      `and not ${simple(content)}.`));
  }
  if (id && !id.carries) {
    lines.push(line('fact', `What ${id.name} carries is left open.`));
  }
  if (id?.answer) {
    lines.push(line('fact', 'The answer comes on ', linkTo(id.answer[1],
        id.answer[0]), '.'));
  }
  return lines;
}

// Messages that the bytes could be, where no envelope has content.
function guesses(bytes, besides) {
  const found = Object.keys(model.messages).filter(
      (name) => name !== besides && fits(name, bytes));
  if (!bytes.length || !found.length) return [];
  if (found.length > 12) {
    return [line('guesses', `No message is inside. The bytes could also be one of ${
      found.length} others: choose which.`)];
  }
  return [line('guesses', 'No message is inside. The bytes could also be ',
      ...found.flatMap((name) => {
        const button = Object.assign(document.createElement('button'),
            { type: 'button', textContent: simple(name) });
        button.addEventListener('click', () => {
          type.value = name;
          decode();
        });
        return [button, ' '];
      }))];
}

function decode(keep = true) {
  const read = bytesOf(paste.value);
  result.replaceChildren();
  // The address would hold other bytes than the field.
  copy.disabled = read.fault !== undefined;
  if (read.fault !== undefined) {
    state.textContent = read.fault ? `Not read: ${read.fault}.` : '';
    return;
  }
  const name = typeOf(read.bytes);
  const { parts, faults } = wire.explain(model, name, read.bytes);
  faults.sort((a, b) => a.offset - b.offset);
  state.textContent = [
    `${read.bytes.length} byte${read.bytes.length === 1 ? '' : 's'} from ${read.form}`,
    read.skipped ? `, without the ${read.skipped} of Ethernet, IP and UDP` : '',
    faults.length ? `, ${faults.length} fault${faults.length > 1 ? 's' : ''}` : '',
    '.'].join('');
  for (const { offset, reason } of faults) {
    result.append(line('fault', `At offset ${offset}: ${reason}.`));
  }
  const content = parts.some(({ depth, inner }) => depth > 0 && inner);
  if (!type.value && !content) result.append(...guesses(read.bytes, name));
  const explained = document.createElement('div');
  explained.className = 'example';
  explained.append(...summary(name, parts));
  explained.insertAdjacentHTML('beforeend', wire.html({ parts }, ''));
  for (const { offset } of faults) {
    const row = [...explained.querySelectorAll('.parts tbody tr')].findLast(
        ({ cells }) => Number(cells[0].textContent) <= offset);
    row?.classList.add('bad');
  }
  result.append(explained);
  if (keep) {
    const held = new URLSearchParams({ hex: wire.hex(read.bytes).replaceAll(' ', '') });
    if (type.value) held.set('type', type.value);
    history.replaceState(null, '', `#${held}`);
  }
}

// What the address holds, and else the example of the page.
function start() {
  const held = new URLSearchParams(location.hash.slice(1));
  if (held.has('hex')) {
    paste.value = held.get('hex').replace(/../g, '$& ').trim();
    type.value = held.get('type') ?? '';
    if (type.selectedIndex < 0) type.value = '';
  }
  decode(false);
}

document.querySelector('.decoder').hidden = false;
paste.addEventListener('input', () => decode());
type.addEventListener('change', () => decode());
addEventListener('hashchange', start);
start();
