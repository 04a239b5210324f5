// The layout of a recording: one channel with all that came, and one for each node
// and topic with the contents, which viewers decode.
import { create, toBinary } from "@bufbuild/protobuf";
import { FileDescriptorProtoSchema, FileDescriptorSetSchema } from "@bufbuild/protobuf/wkt";
import { catalogue } from "../catalogue.js";
import { registry } from "../registry.js";
import { isWellFormed, readEnvelope, topicName } from "./envelope.js";
import { ReceivedSchema } from "./recording_pb.js";

export const rawTopic = "/received";
export const library = `zorvik-mcap ${catalogue.version}`;

// Contents of more nodes and topics than this are kept on the first channel alone:
// the senders choose the numbers.
const mostChannels = 2000;

const enumOfField = new Map();
for (const message of catalogue.messages) {
  for (const field of message.fields) {
    if (field.enum) enumOfField.set(`${message.name}.${field.name}`, field.enum);
  }
}

// The files of a message, with those messages and enums alone that it refers to.
// An enum whose numbers are in a plain field is among them.
function descriptorSet(schema) {
  const used = new Set();
  const use = (type) => {
    if (!type || used.has(type)) return;
    used.add(type);
    for (const field of type.fields ?? []) {
      use(field.message ?? field.enum);
      const name = enumOfField.get(`${type.typeName}.${field.name}`);
      if (name) use(registry.getEnum(name));
    }
  };
  use(schema);
  const files = new Set();
  const add = (file) => {
    if (files.has(file)) return;
    file.dependencies.forEach(add);
    if ([...used].some((type) => type.file === file)) files.add(file);
  };
  [...used].forEach((type) => add(type.file));
  const names = new Set([...files].map((file) => file.proto.name));
  const isUsed = (type) => used.has(type);
  const file = [...files].map((file) =>
    create(FileDescriptorProtoSchema, {
      name: file.proto.name,
      package: file.proto.package,
      syntax: file.proto.syntax,
      dependency: file.proto.dependency.filter((name) => names.has(name)),
      messageType: file.messages.filter(isUsed).map((type) => type.proto),
      enumType: file.enums.filter(isUsed).map((type) => type.proto),
    }),
  );
  return toBinary(FileDescriptorSetSchema, create(FileDescriptorSetSchema, { file }));
}

export class Recording {
  #writer;
  #schemas = new Map();
  #channels = new Map();
  #raw;
  /** How many came, and of how many the content is on no channel of its own. */
  counts = {
    received: 0,
    noEnvelope: 0,
    noContent: 0,
    unknownContent: 0,
    malformedContent: 0,
    tooManyChannels: 0,
  };

  constructor(writer) {
    this.#writer = writer;
    this.#raw = this.#channel(rawTopic, ReceivedSchema, {});
  }

  #channel(topic, schema, metadata) {
    let schemaId = this.#schemas.get(schema);
    if (schemaId === undefined) {
      schemaId = this.#writer.addSchema({
        name: schema.typeName,
        encoding: "protobuf",
        data: descriptorSet(schema),
      });
      this.#schemas.set(schema, schemaId);
    }
    const id = this.#writer.addChannel({
      schemaId,
      topic,
      messageEncoding: "protobuf",
      metadata: new Map(Object.entries(metadata)),
    });
    this.#channels.set(topic, id);
    return id;
  }

  // Content that is not the settled one of its topic type has a channel of its own,
  // because a channel has one schema.
  #channelOf(envelope) {
    const { node, topic, task, schema, settled } = envelope;
    const place = task === undefined ? `/node/${node}/${topicName(topic)}` : `/task/${task}`;
    const name = settled ? place : `${place}/${schema.typeName}`;
    const id = this.#channels.get(name);
    if (id !== undefined || this.#writer.channelCount > mostChannels) return id;
    const about =
      task === undefined ? { src_node_id: String(node), topic_type: String(topic) } : { task_id: String(task) };
    return this.#channel(name, schema, about);
  }

  /** What arrived: its time in nanoseconds, and the fields of Received. */
  add(time, received) {
    const message = {
      logTime: time,
      publishTime: time,
      sequence: ++this.counts.received >>> 0,
    };
    const data = toBinary(ReceivedSchema, create(ReceivedSchema, received));
    this.#writer.addMessage({ ...message, channelId: this.#raw, data });
    const envelope = readEnvelope(received.data);
    const fault = this.#faultOf(envelope);
    if (fault) {
      ++this.counts[fault];
      return;
    }
    const channelId = this.#channelOf(envelope);
    if (channelId === undefined) ++this.counts.tooManyChannels;
    else this.#writer.addMessage({ ...message, channelId, data: envelope.content });
  }

  #faultOf(envelope) {
    if (!envelope) return "noEnvelope";
    if (envelope.type === "") return "noContent";
    if (!envelope.schema) return "unknownContent";
    return isWellFormed(envelope.schema, envelope.content) ? "" : "malformedContent";
  }
}
