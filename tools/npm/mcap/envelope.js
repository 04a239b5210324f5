// What is in an envelope, without loss and by the rules of the wire: fields that
// come twice are merged, and those of another wire type than their own are unknown.
import { ScalarType } from "@bufbuild/protobuf";
import { AnySchema } from "@bufbuild/protobuf/wkt";
import { BinaryReader, WireType } from "@bufbuild/protobuf/wire";
import { catalogue } from "../catalogue.js";
import { channelTopicMessageSchema } from "../channelMessage_pb.js";
import { registry } from "../registry.js";
import { smcMessageSchema } from "../smcMessage_pb.js";

const utf8 = new TextDecoder("utf-8", { fatal: true });
const deepest = 100; // As deep as the runtimes of other languages go.

// Calls back with the number, wire type and value of each field: a number of 32
// bits, bytes, or nothing. Throws where the bytes are malformed.
function walk(bytes, use) {
  const reader = new BinaryReader(bytes);
  while (reader.pos < reader.len) {
    const [number, wireType] = reader.tag();
    let value;
    if (wireType === WireType.Varint) {
      value = reader.int32();
    } else if (wireType === WireType.LengthDelimited) {
      value = reader.bytes();
    } else {
      reader.skip(wireType, number);
    }
    reader.assertBounds();
    use(number, wireType, value);
  }
}

// The packed lists of the vocabulary are of varints.
function checkPacked(bytes) {
  const reader = new BinaryReader(bytes);
  while (reader.pos < reader.len) {
    reader.uint32();
    reader.assertBounds();
  }
}

function check(schema, bytes, depth) {
  if (depth > deepest) throw new Error("nested too deep");
  walk(bytes, (number, wireType, value) => {
    const field = schema.fields.find((field) => field.number === number);
    if (!field || wireType !== WireType.LengthDelimited) return;
    if (field.message) check(field.message, value, depth + 1);
    else if (field.scalar === ScalarType.STRING) utf8.decode(value);
    else if (field.fieldKind === "list") checkPacked(value);
  });
}

/** Whether the bytes can be parsed as a message of the type. */
export function isWellFormed(schema, bytes) {
  try {
    check(schema, bytes, 0);
    return true;
  } catch {
    return false;
  }
}

// The fields of a message whose own are numbers, texts, bytes and messages; nested
// messages stay bytes. Nothing when it is malformed.
function read(schema, bytes) {
  const message = { unknown: false };
  try {
    walk(bytes, (number, wireType, value) => {
      const field = schema.fields.find((field) => field.number === number);
      const isNumber = field?.scalar === ScalarType.INT32;
      if (!field || wireType !== (isNumber ? WireType.Varint : WireType.LengthDelimited)) {
        message.unknown = true;
      } else if (field.message) {
        const before = message[field.localName];
        message[field.localName] = before ? Buffer.concat([before, value]) : value;
      } else {
        message[field.localName] = field.scalar === ScalarType.STRING ? utf8.decode(value) : value;
      }
    });
  } catch {
    return undefined;
  }
  return message;
}

// The topic types by their numbers: their names, and what they carry.
const topics = new Map();
for (const message of catalogue.messages) {
  if (message.name !== channelTopicMessageSchema.typeName) continue;
  const name = message.fields.find((field) => field.enum).enum;
  for (const value of catalogue.enums.find((entry) => entry.name === name).values) {
    const id = catalogue.ids.find((id) => id.enum === name && id.number === value.number);
    topics.set(value.number, { name: value.name.split(".").pop(), carries: id?.carries });
  }
}

/** The name of a topic type, or its number when it is not declared. */
export const topicName = (number) => topics.get(number)?.name ?? String(number);

/** The numbers of the topic types that are meant by a number, a name or its end. */
export function meantTopics(text) {
  if (/^(-?\d+|0x[\da-f]+)$/i.test(text)) return [Number(text)];
  const wanted = text.split(".").pop().toUpperCase();
  return [...topics]
    .filter(([, { name }]) => name === wanted || name.endsWith(`_TYPE_${wanted}`))
    .map(([number]) => number);
}

/**
 * What an envelope says: its node, destination and topic type, or its task, and its
 * content with the schema, if that is known. Nothing for what is no envelope.
 */
export function readEnvelope(bytes) {
  const channel = read(channelTopicMessageSchema, bytes);
  const task = channel?.data ? undefined : read(smcMessageSchema, bytes);
  const found = task?.data ? task : channel;
  if (!found || (found.unknown && !found.data)) return undefined;
  const envelope =
    found === task
      ? { task: task.taskId ?? 0 }
      : {
          node: channel.srcNodeId ?? 0,
          destination: channel.dstNodeId ?? 0,
          topic: channel.topicType ?? 0,
        };
  const any = found.data && read(AnySchema, found.data);
  if (found.data && !any) return undefined;
  envelope.type = any?.typeUrl?.includes("/") ? any.typeUrl.slice(any.typeUrl.lastIndexOf("/") + 1) : "";
  envelope.content = any?.value ?? new Uint8Array();
  envelope.schema = registry.getMessage(envelope.type);
  envelope.settled = found === channel && topics.get(envelope.topic)?.carries === envelope.type;
  return envelope;
}
