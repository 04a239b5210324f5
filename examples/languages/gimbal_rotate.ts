// Turns a gimbal: writes the envelope of the command, reads an envelope back.
//
// usage: node gimbal_rotate.js FOLDER_OF_THE_SCHEMAS FILE_TO_WRITE FILE_TO_READ
import { readFileSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import protobuf from "protobufjs";

interface Rotate {
  seq: number;
  rotationMode: number;
  rotationValue: { pitch: number; roll: number; yaw: number };
}
interface Envelope {
  topic_type: number;
  src_node_id: number;
  dst_node_id: number;
  data: { type_url: string; value: Uint8Array };
}

const [schemas, fileToWrite, fileToRead] = process.argv.slice(2);

// keepCase: the names stay as the schemas have them.
const root = new protobuf.Root();
for (const schema of ["channelMessage.proto", "gimbalMessage.proto"]) {
  root.loadSync(join(schemas, schema), { keepCase: true });
}
const envelopes = root.lookupType("zorvik.channel.channelTopicMessage");
const rotates = root.lookupType("zorvik.gimbal.UavGimbalRotateReqMessage");
const topics = root.lookupEnum("zorvik.channel.channelTopicType");
const modes = root.lookupEnum("zorvik.gimbal.eUAVGimbalRotationMode");

function rotate(): Uint8Array {
  const request: Rotate = {
    seq: 7,
    rotationMode: modes.values.UAV_GIMBAL_ROTATION_MODE_ABSOLUTE_ANGLE,
    rotationValue: { pitch: -30, roll: 0, yaw: 45 },
  };
  const envelope: Envelope = {
    topic_type: topics.values.CHANNEL_TOPIC_TYPE_GIMBAL_ROTATE,
    src_node_id: 1,
    dst_node_id: 9,
    data: {
      type_url: "type.googleapis.com/" + rotates.fullName.slice(1),
      value: rotates.encode(rotates.fromObject(request)).finish(),
    },
  };
  return envelopes.encode(envelopes.fromObject(envelope)).finish();
}

function describe(encoded: Uint8Array): void {
  const envelope = envelopes.decode(encoded) as unknown as Envelope;
  // topic_type may hold any number; not every number has a name.
  console.log(topics.valuesById[envelope.topic_type] ?? envelope.topic_type);
  const name = envelope.data.type_url.split("/").pop() ?? "";
  console.log(name);
  const content = root.lookupType(name).decode(envelope.data.value);
  if (content.$type === rotates) {
    const request = content as unknown as Rotate;
    console.log("seq", request.seq, "pitch", request.rotationValue.pitch);
  }
}

writeFileSync(fileToWrite, rotate());
describe(readFileSync(fileToRead));
