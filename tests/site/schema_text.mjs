// What the site has to show, read from the text of the schemas, the vectors and
// the generated headers: by other means than the catalogue is made.
import { readdirSync, readFileSync } from 'node:fs';

export const site = new URL('../../build/site/', import.meta.url);
const generated = new URL('../../build/release/generated/', import.meta.url);
const vectorDirectory = new URL('../vectors/', import.meta.url);
const schemaDirectory = new URL('../../proto/', import.meta.url);

// The tags of a run of comment lines: the values of each, by name.
function tagsOf(comment) {
  const tags = {};
  for (const [, name, value] of comment.matchAll(/@(\w+)\s+(.*\S)/g)) {
    (tags[name] ??= []).push(value);
  }
  return tags;
}

const camelCase = (name) =>
  name.replace(/_(.)/g, (_, letter) => letter.toUpperCase());

// The messages and enums of a schema. Its head is an element without a kind.
function parse(file) {
  const text = readFileSync(new URL(file, schemaDirectory), 'utf8');
  const pkg = /^package (.+);$/m.exec(text)[1];
  const page = `schema/${file.replace('.proto', '.html')}`;
  const head = { fullName: file, page, tags: tagsOf(text.split('syntax')[0]) };
  const elements = [];
  const statement =
    /((?:^ *\/\/.*\n)*)^ *(?:(message|enum) (\w+)|(?:(repeated )?([\w.]+) )?(\w+) = (\d+);)/gm;
  for (const [, comment, kind, type, , typeName, member, number] of
    text.slice(text.indexOf('\npackage')).matchAll(statement)) {
    const tags = tagsOf(comment);
    if (kind) {
      elements.push({
        kind, name: type, fullName: `${pkg}.${type}`, page, tags,
        header: file.replace('.proto', '.pb.h'), members: [],
      });
      continue;
    }
    const owner = elements.at(-1);
    const isField = owner.kind === 'message';
    owner.members.push({
      name: member,
      number: Number(number),
      fullName: `${isField ? owner.fullName : pkg}.${member}`,
      page,
      tags,
      json: camelCase(member),
      typeName: isField ? typeName : undefined,
    });
  }
  return { head, elements };
}

const schemas = readdirSync(schemaDirectory).sort().map(parse);
const elements = schemas.flatMap((schema) => schema.elements);

export const enums = elements.filter(({ kind }) => kind === 'enum')
    .map((type) => ({ ...type, values: type.members }));
export const values = enums.flatMap((type) => type.values);
export const messages = elements.filter(({ kind }) => kind === 'message')
    .map((message) => ({
      ...message,
      fields: message.members.map((field) => ({
        ...field,
        // A type without a package is one of the same schema.
        enum: field.tags.enum?.[0] ?? enums.find((type) =>
          type.page === field.page && type.name === field.typeName)?.fullName,
      })),
    }));

// Every tag as "element @name value", and every line that has one.
export const tags = [...schemas.map(({ head }) => head), ...elements,
  ...elements.flatMap(({ members }) => members)]
    .flatMap((element) => Object.entries(element.tags).flatMap(
        ([name, all]) => all.map((v) => `${element.fullName} @${name} ${v}`)));
// The page of each element.
export const pageOf = Object.fromEntries(
    [...schemas.map(({ head }) => head), ...elements,
      ...elements.flatMap(({ members }) => members)]
        .map(({ fullName, page }) => [fullName, page]));
export const taggedLines = readdirSync(schemaDirectory).flatMap((file) =>
  readFileSync(new URL(file, schemaDirectory), 'utf8').split('\n')
      .filter((line) => line.includes('@')));

export const catalogue = JSON.parse(
    readFileSync(new URL('catalogue.json', generated), 'utf8'));

export const pages = readdirSync(site, { recursive: true, encoding: 'utf8' })
    .filter((name) => name.endsWith('.html')).sort();

export const vectors = readdirSync(vectorDirectory)
    .filter((name) => name.endsWith('.json'))
    .flatMap((name) => JSON.parse(
        readFileSync(new URL(name, vectorDirectory), 'utf8')).vectors);

// The text of a class that the protobuf compiler generated.
export function generatedClass(message) {
  const header = readFileSync(new URL(message.header, generated), 'utf8');
  const start = header.search(new RegExp(`^class ${message.name} final`, 'm'));
  return header.slice(start, header.indexOf('\n};', start));
}
