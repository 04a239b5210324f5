// What the site has to show, from the catalogue, the vectors and the generated
// headers.
import { readdirSync, readFileSync } from 'node:fs';

export const site = new URL('../../build/site/', import.meta.url);
const generated = new URL('../../build/release/generated/', import.meta.url);
const vectorDirectory = new URL('../vectors/', import.meta.url);
const siteDirectory = new URL('../../docs/site/', import.meta.url);

const read = (name, directory) => readFileSync(new URL(name, directory), 'utf8');
// Blanks have no meaning, nor have the marks of lists.
export const squeeze = (text) => text.replace(/\s+/g, '');

const catalogue = JSON.parse(read('catalogue.json', generated));
const ids = new Map(catalogue.ids.map((id) => [id.name, id]));

// An entry with its last name apart, and the words of its comment.
const element = (entry, more) => ({
  open: [], ...entry, ...more, name: entry.name.split('.').at(-1),
  words: squeeze(entry.comment.replace(/^ *(-|\d+\.) /gm, '')),
});

export const schemas = catalogue.schemas.map((entry) => {
  const [pkg, page, header] = [entry.package,
    `schema/${entry.name.replace('.proto', '.html')}`,
    entry.name.replace('.proto', '.pb.h')];
  const types = (kind, membersOf) => catalogue[`${kind}s`]
      .filter(({ schema }) => schema === entry.name).map((entry) => {
        const type = element(entry,
            { kind, fullName: entry.name, pkg, page, header });
        return Object.assign(type, { members: membersOf(type) });
      });
  return { imports: [], ...element(entry), name: entry.name,
    fullName: entry.name, pkg, page, header,
    title: /^.*?(?=:)/.exec(entry.comment)[0],
    messages: types('message', (owner) => owner.fields.map((field) =>
      element(field, { owner, page, fullName: `${owner.fullName}.${field.name}` }))),
    enums: types('enum', (owner) => owner.values.map((value) =>
      element({ ...ids.get(value.name), ...value },
          { owner, page, fullName: value.name }))) };
});
export const messages = schemas.flatMap((schema) => schema.messages);
export const enums = schemas.flatMap((schema) => schema.enums);
export const fields = messages.flatMap(({ members }) => members);
export const values = enums.flatMap(({ members }) => members);
export const elements = [...schemas, ...messages, ...enums, ...fields, ...values];

// The groups of schemas, in their order.
export const groups = [...read('subsystems.toml', siteDirectory).matchAll(
    /^slug = "(.*)"$/gm)].map((match) => match[1]);

for (const field of fields) {
  const isEnum = enums.some(({ fullName }) => fullName === field.type);
  field.isMessage = field.type.includes('.') && !isEnum;
  if (isEnum) field.enum = field.type;
}

// The bytes of a field's tag, and how the wire is said to hold its values.
function wireOf({ number, type, isMessage, repeated }) {
  const scalar = !isMessage && type !== 'string' && type !== 'bytes';
  const packed = repeated && scalar;
  const [code, name] = !scalar || packed ? [2, 'LEN'] :
    { float: [5, 'I32'], double: [1, 'I64'] }[type] ?? [0, 'VARINT'];
  const bytes = [];
  for (let key = number * 8 + code; ; key = Math.floor(key / 128)) {
    bytes.push(key > 127 ? key % 128 + 128 : key);
    if (key < 128) break;
  }
  const tag = bytes.map((byte) => byte.toString(16).padStart(2, '0')).join(' ');
  return [tag, packed ? `${name}, packed` : name];
}

function accessorsOf({ name, repeated, isMessage }) {
  const call = name.toLowerCase();
  const argument = isMessage ? '' : 'v';
  if (repeated) {
    return [`${call}(i)`, `${call}_size()`, `add_${call}(${argument})`];
  }
  return isMessage ? [`${call}()`, `has_${call}()`, `mutable_${call}()`] :
    [`${call}()`, `set_${call}(v)`];
}

const cpp = (fullName) => fullName.replaceAll('.', '::');
const list = (label, all) => all.length ? [`${label}: ${all.join(' ')}`] : [];
const under = (tag, fullName) =>
  values.filter((value) => [value[tag], value[tag]?.message].includes(fullName))
      .map((value) => `${value.number} ${value.fullName}`);
const users = (fullName, carried) =>
  fields.filter((field) => (carried && field.enum) === fullName ||
    field.type === fullName).map((field) => field.fullName);

// One line for each thing that a page has to say, as the cells of its row.
const row = (...cells) => cells.filter(Boolean).join(' | ');
const opens = ({ open }) => open.map((point) => `open: ${squeeze(point)}`);
const lineOfField = (field) => row(
    field.number, field.fullName, field.repeated && 'repeated', field.type,
    field.enum && field.enum !== field.type && `carries: ${field.enum}`,
    field.unit && `unit: ${field.unit}`, field.words, ...opens(field),
    ...accessorsOf(field), `"${field.json_name}"`, ...wireOf(field));
const number = (fullName) =>
  values.find((value) => value.fullName === fullName).number;
export const lineOfValue = (value) => row(
    String(value.number), value.fullName, value.words, ...opens(value),
    value.schema && `schema: ${value.schema}`,
    value.carries && `carries: ${value.carries}`,
    value.pairs && `pairs: ${value.pairs}`,
    value.answer?.message && `answer: ${value.answer.message}`,
    value.answer?.id && `on: ${number(value.answer.id)} ${value.answer.id}`);
const linesOfMessage = (message) => [
  row(message.fullName, message.words, ...opens(message)),
  ...list('Travels under', under('carries', message.fullName)),
  ...list('Request or answer of', under('pairs', message.fullName)),
  ...list('Answers', under('answer', message.fullName)),
  ...list('Answered by', [...new Set(values.filter(
      ({ carries }) => carries === message.fullName)
      .flatMap(({ answer }) => [answer?.message, answer?.id &&
        `${number(answer.id)} ${answer.id}`]).filter(Boolean))]),
  ...list('Part of', users(message.fullName)),
  `C++: ${cpp(message.fullName)}`,
  `Type URL: type.googleapis.com/${message.fullName}`,
  ...message.members.map(lineOfField),
];
const linesOfEnum = (type) => [
  row(type.fullName, type.words, ...opens(type)),
  ...list('Component', type.component ?
    [`${number(type.component)} ${type.component}`] : []),
  ...list('Carried by', users(type.fullName, true)),
  `C++: ${cpp(type.fullName)}, values in ${cpp(type.pkg)}`,
  ...type.members.map(lineOfValue),
];
export const linesOfSchema = (schema) => [
  row(schema.name, schema.subsystem, schema.words.split(':')[0],
      schema.words.slice(schema.words.indexOf(':') + 1), ...opens(schema)),
  `Package: ${schema.pkg}`,
  `C++: #include "${schema.header}" namespace ${cpp(schema.pkg)}`,
  ...list('Imports', schema.imports.map((name, i, { length }) =>
    i < length - 1 ? `${name},` : name)),
  ...schema.messages.flatMap(linesOfMessage),
  ...schema.enums.flatMap(linesOfEnum),
];

export const pages = readdirSync(site, { recursive: true, encoding: 'utf8' })
    .filter((name) => name.endsWith('.html')).sort();

export const vectors = readdirSync(vectorDirectory)
    .filter((name) => name.endsWith('.json'))
    .flatMap((name) => JSON.parse(read(name, vectorDirectory)).vectors);

// Those of a field's accessors that the generated class does not have.
export function missingAccessors(field) {
  const header = read(field.owner.header, generated);
  const start = header.search(
      new RegExp(`^class ${field.owner.name} final`, 'm'));
  const text = header.slice(start, header.indexOf('\n};', start));
  return accessorsOf(field).filter((call) =>
    !new RegExp(`\\b${call.split('(')[0]}\\(`).test(text));
}
