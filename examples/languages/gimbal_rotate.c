/* Turns a gimbal: writes the envelope of the command, reads an envelope back.
 *
 * usage: gimbal_rotate FILE_TO_WRITE FILE_TO_READ
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "channelMessage.pb-c.h"
#include "gimbalMessage.pb-c.h"

typedef Zorvik__Channel__ChannelTopicMessage Envelope;
typedef Zorvik__Gimbal__UavGimbalRotateReqMessage Rotate;

static void fail(const char *what) {
  fprintf(stderr, "gimbal_rotate: %s\n", what);
  exit(1);
}

static void write_rotate(FILE *file) {
  Zorvik__Gimbal__GimbalAttitude3d angles =
      ZORVIK__GIMBAL__GIMBAL_ATTITUDE3D__INIT;
  angles.pitch = -30;
  angles.yaw = 45;
  Rotate request = ZORVIK__GIMBAL__UAV_GIMBAL_ROTATE_REQ_MESSAGE__INIT;
  request.seq = 7;
  request.rotationmode =
      ZORVIK__GIMBAL__E_UAVGIMBAL_ROTATION_MODE__UAV_GIMBAL_ROTATION_MODE_ABSOLUTE_ANGLE;
  request.rotationvalue = &angles;
  uint8_t content[64];
  if (protobuf_c_message_get_packed_size(&request.base) > sizeof content) {
    fail("no room for the content");
  }

  /* protobuf-c has no call that packs: the type URL is the prefix and the
   * name from the descriptor. */
  char type_url[128];
  snprintf(type_url, sizeof type_url, "type.googleapis.com/%s",
           request.base.descriptor->name);
  Google__Protobuf__Any data = GOOGLE__PROTOBUF__ANY__INIT;
  data.type_url = type_url;
  data.value.data = content;
  data.value.len = protobuf_c_message_pack(&request.base, content);

  Envelope envelope = ZORVIK__CHANNEL__CHANNEL_TOPIC_MESSAGE__INIT;
  envelope.topic_type =
      ZORVIK__CHANNEL__CHANNEL_TOPIC_TYPE__CHANNEL_TOPIC_TYPE_GIMBAL_ROTATE;
  envelope.src_node_id = 1;
  envelope.dst_node_id = 9;
  envelope.data = &data;
  uint8_t encoded[256];
  if (protobuf_c_message_get_packed_size(&envelope.base) > sizeof encoded) {
    fail("no room for the envelope");
  }
  const size_t size = protobuf_c_message_pack(&envelope.base, encoded);
  if (fwrite(encoded, 1, size, file) != size) fail("cannot write");
}

static void describe(FILE *file) {
  uint8_t encoded[4096];
  const size_t size = fread(encoded, 1, sizeof encoded, file);
  Envelope *envelope =
      zorvik__channel__channel_topic_message__unpack(NULL, size, encoded);
  if (envelope == NULL || envelope->data == NULL) fail("no envelope");

  /* topic_type may hold any number; not every number has a name. */
  const ProtobufCEnumValue *topic = protobuf_c_enum_descriptor_get_value(
      &zorvik__channel__channel_topic_type__descriptor, envelope->topic_type);
  printf("%s\n", topic == NULL ? "no name" : topic->name);

  const char *slash = strrchr(envelope->data->type_url, '/');
  const char *name = slash == NULL ? "" : slash + 1;
  printf("%s\n", name);
  if (strcmp(name,
             zorvik__gimbal__uav_gimbal_rotate_req_message__descriptor.name) ==
      0) {
    Rotate *request = zorvik__gimbal__uav_gimbal_rotate_req_message__unpack(
        NULL, envelope->data->value.len, envelope->data->value.data);
    if (request == NULL || request->rotationvalue == NULL) fail("no rotation");
    printf("seq %u pitch %d\n", request->seq, request->rotationvalue->pitch);
    zorvik__gimbal__uav_gimbal_rotate_req_message__free_unpacked(request, NULL);
  }
  zorvik__channel__channel_topic_message__free_unpacked(envelope, NULL);
}

int main(int argc, char **argv) {
  if (argc != 3) fail("needs a file to write and a file to read");
  FILE *out = fopen(argv[1], "wb");
  if (out == NULL) fail("cannot open the file to write");
  write_rotate(out);
  if (fclose(out) != 0) fail("cannot write");
  FILE *in = fopen(argv[2], "rb");
  if (in == NULL) fail("cannot open the file to read");
  describe(in);
  fclose(in);
  return 0;
}
