// What the site has to show, read from the descriptor set, the vectors and the
// generated headers: by other means than the generator reads them.
import { readdirSync, readFileSync } from 'node:fs';

import descriptor from 'protobufjs/ext/descriptor.js';

export const site = new URL('../../build/site/', import.meta.url);
const generated = new URL('../../build/release/generated/', import.meta.url);
const vectorDirectory = new URL('../vectors/', import.meta.url);

const MESSAGE = 4;
const ENUM = 5;
const MEMBER = 2;

const set = descriptor.FileDescriptorSet.decode(
    readFileSync(new URL('ZorvikPBProto.binpb', generated)));
const schemas = set.file.filter((f) => f.package.startsWith('zorvik.'));

function tagsOf(file, path) {
  const location = file.sourceCodeInfo.location.find(
      (l) => String(l.path) === String(path));
  const comment = location?.leadingComments ?? '';
  const tag = (name) =>
    new RegExp(`^ @${name} (.+)$`, 'm').exec(comment)?.[1];
  return { carries: tag('carries'), answer: tag('answer'), enum: tag('enum') };
}

export const messages = schemas.flatMap((file) => file.messageType.map(
    (message, i) => ({
      name: message.name,
      fullName: `${file.package}.${message.name}`,
      page: `schema/${file.name.replace('.proto', '.html')}`,
      header: file.name.replace('.proto', '.pb.h'),
      fields: message.field.map((field, f) => ({
        name: field.name,
        json: field.jsonName,
        number: field.number,
        enum: tagsOf(file, [MESSAGE, i, MEMBER, f]).enum ??
            (field.type === 14 ? field.typeName.slice(1) : undefined),
        fullName: `${file.package}.${message.name}.${field.name}`,
      })),
    })));

export const enums = schemas.flatMap((file) => file.enumType.map(
    (type, i) => ({
      name: type.name,
      fullName: `${file.package}.${type.name}`,
      page: `schema/${file.name.replace('.proto', '.html')}`,
      values: type.value.map((value, v) => ({
        name: value.name,
        number: value.number ?? 0,
        fullName: `${file.package}.${value.name}`,
        page: `schema/${file.name.replace('.proto', '.html')}`,
        ...tagsOf(file, [ENUM, i, MEMBER, v]),
      })),
    })));

export const values = enums.flatMap((type) => type.values);

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
