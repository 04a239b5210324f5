// Answers the cases of zorvik check codec with protobuf.js.
//
// usage: node protobufjs_peer.js SCHEMA_FOLDER < CASES > ANSWERS
import {readdirSync} from 'node:fs';
import {join} from 'node:path';
import {createInterface} from 'node:readline';

import protobuf from 'protobufjs';
import protojson from 'protobufjs/ext/protojson.js';

const hex = (bytes) => Buffer.from(bytes).toString('hex');

const schemaFolder = process.argv[2];
const root = new protobuf.Root();
// The well-known types come with the runtime.
root.resolvePath = (origin, target) =>
    target.startsWith('google/') ? target : join(schemaFolder, target);
root.loadSync(readdirSync(schemaFolder).filter((f) => f.endsWith('.proto')));

function answer({message: name, bytes, json}) {
  const type = root.lookupType(name);
  const reader =
      protobuf.Reader.create(Buffer.from(bytes.replaceAll(' ', ''), 'hex'));
  // By default, this runtime drops what it does not know.
  reader.discardUnknown = false;
  let message;
  try {
    message = type.decode(reader);
  } catch (error) {
    return {error: String(error)};
  }
  const result = {bytes: hex(type.encode(message).finish())};
  if (json !== undefined) {
    result.json = protojson.toJsonString(type, message);
    try {
      const again = protojson.fromJsonString(type, json);
      result.fromJson = hex(type.encode(again).finish());
    } catch (error) {
      result.jsonError = String(error);
    }
  }
  return result;
}

for await (const line of createInterface({input: process.stdin})) {
  console.log(JSON.stringify(answer(JSON.parse(line))));
}
