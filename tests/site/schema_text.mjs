// What the site has to show, read from the text of the schemas, the vectors and
// the generated headers: by other means than the catalogue is made.
import { readdirSync, readFileSync } from 'node:fs';

export const site = new URL('../../build/site/', import.meta.url);
const generated = new URL('../../build/release/generated/', import.meta.url);
const vectorDirectory = new URL('../vectors/', import.meta.url);
const siteDirectory = new URL('../../docs/site/', import.meta.url);
const schemaDirectory = new URL('../../proto/', import.meta.url);

const read = (name, directory) => readFileSync(new URL(name, directory), 'utf8');
// Blanks have no meaning, nor have the marks of lists.
export const squeeze = (text) => text.replace(/\s+/g, '');

// The words of a run of comment lines, and the values of its tags by name.
function commentOf(lines) {
  const tags = {};
  for (const [, name, value] of lines.matchAll(/@(\w+)\s+(.*\S)/g)) {
    (tags[name] ??= []).push(value);
  }
  const words = lines.replace(/^ *\/\/ @.*$/gm, '')
      .replace(/^ *\/\/( *(-|\d+\.) )?/gm, '');
  return { tags, words: squeeze(words), open: tags.open ?? [] };
}

const camelCase = (name) =>
  name.replace(/_(.)/g, (_, letter) => letter.toUpperCase());

// A schema: what is above its messages and enums, and these in their order.
function parse(file) {
  const text = read(file, schemaDirectory);
  const pkg = /^package (.+);$/m.exec(text)[1];
  const page = `schema/${file.replace('.proto', '.html')}`;
  const header = file.replace('.proto', '.pb.h');
  const schema = {
    name: file, fullName: file, pkg, page, header, messages: [], enums: [],
    title: /^\/\/ (.*?):/.exec(text)[1],
    imports: [...text.matchAll(/^import "(.*)";$/gm)].map((match) => match[1]),
    ...commentOf(text.split('syntax')[0]),
  };
  const statement =
    /((?:^ *\/\/.*\n)*)^ *(?:(message|enum) (\w+)|(?:(repeated )?([\w.]+) )?(\w+) = (\d+);)/gm;
  let owner;
  for (const [, comment, kind, type, repeated, typeName, member, number] of
    text.slice(text.indexOf('\npackage')).matchAll(statement)) {
    if (kind) {
      owner = { kind, name: type, fullName: `${pkg}.${type}`, pkg, page, header,
        members: [], ...commentOf(comment) };
      schema[`${kind}s`].push(owner);
      continue;
    }
    owner.members.push({
      owner, page, typeName, name: member, number: Number(number),
      fullName: `${typeName ? owner.fullName : pkg}.${member}`,
      repeated: Boolean(repeated), json: camelCase(member),
      ...commentOf(comment),
    });
  }
  return schema;
}

// The groups of schemas, in their order.
export const groups = [...read('subsystems.toml', siteDirectory).matchAll(
    /^slug = "(.*)"$/gm)].map((match) => match[1]);

export const schemas = readdirSync(schemaDirectory).sort().map(parse);
export const messages = schemas.flatMap((schema) => schema.messages);
export const enums = schemas.flatMap((schema) => schema.enums);
const types = [...messages, ...enums];
export const fields = messages.flatMap(({ members }) => members);
export const values = enums.flatMap(({ members }) => members);
export const elements = [...schemas, ...types, ...fields, ...values];

// A type without a package is one of the same package.
for (const field of fields) {
  const type = types.find(({ fullName }) =>
    fullName === field.typeName ||
    fullName === `${field.owner.pkg}.${field.typeName}`);
  field.type = type?.fullName ?? field.typeName;
  field.isMessage = (type?.kind ?? (field.type.includes('.') && 'message')) ===
    'message';
  field.enum = type?.kind === 'enum' ? field.type : field.tags.enum?.[0];
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
  values.filter(({ tags }) => tags[tag]?.[0] === fullName)
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
    field.tags.unit && `unit: ${field.tags.unit}`, field.words, ...opens(field),
    ...accessorsOf(field), `"${field.json}"`, ...wireOf(field));
const number = (fullName) =>
  values.find((value) => value.fullName === fullName).number;
export const lineOfValue = (value) => row(
    String(value.number), value.fullName, value.words, ...opens(value),
    value.tags.schema && `schema: ${value.tags.schema}`,
    value.tags.carries && `carries: ${value.tags.carries}`,
    value.tags.pairs && `pairs: ${value.tags.pairs}`,
    value.tags.answer && `answer: ${value.tags.answer}`,
    value.tags.answer_id && `on: ${number(value.tags.answer_id[0])} ` +
      value.tags.answer_id);
const linesOfMessage = (message) => [
  row(message.fullName, message.words, ...opens(message)),
  ...list('Travels under', under('carries', message.fullName)),
  ...list('Request or answer of', under('pairs', message.fullName)),
  ...list('Answers', under('answer', message.fullName)),
  ...list('Part of', users(message.fullName)),
  `C++: ${cpp(message.fullName)}`,
  `Type URL: type.googleapis.com/${message.fullName}`,
  ...message.members.map(lineOfField),
];
const linesOfEnum = (type) => [
  row(type.fullName, type.words, ...opens(type)),
  ...list('Component', (type.tags.component ?? []).map(
      (name) => `${number(name)} ${name}`)),
  ...list('Carried by', users(type.fullName, true)),
  `C++: ${cpp(type.fullName)}, values in ${cpp(type.pkg)}`,
  ...type.members.map(lineOfValue),
];
export const linesOfSchema = (schema) => [
  row(schema.name, schema.tags.subsystem[0], schema.words.split(':')[0],
      schema.words.slice(schema.words.indexOf(':') + 1), ...opens(schema)),
  `Package: ${schema.pkg}`,
  `C++: #include "${schema.header}" namespace ${cpp(schema.pkg)}`,
  ...list('Imports', schema.imports.map((name, i, { length }) =>
    i < length - 1 ? `${name},` : name)),
  ...schema.messages.flatMap(linesOfMessage),
  ...schema.enums.flatMap(linesOfEnum),
];

// Every line that has a tag.
export const taggedLines = schemas.flatMap(({ name }) =>
  read(name, schemaDirectory).split('\n').filter((line) => line.includes('@')));

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
