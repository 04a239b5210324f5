/* Turns a gimbal: writes the envelope of the command, reads an envelope back.
 * All memory is fixed: nothing is allocated.
 *
 * usage: gimbal_rotate_nanopb FILE_TO_WRITE FILE_TO_READ
 */
#include <pb_decode.h>
#include <pb_encode.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "channelMessage.pb.h"
#include "gimbalMessage.pb.h"

typedef zorvik_channel_channelTopicMessage Envelope;
typedef zorvik_gimbal_UavGimbalRotateReqMessage Rotate;

/* nanopb keeps no names for the run time. */
#define ROTATE "zorvik.gimbal.UavGimbalRotateReqMessage"

static Envelope envelope;
static pb_byte_t encoded[zorvik_channel_channelTopicMessage_size];

static void fail(const char *what) {
  fprintf(stderr, "gimbal_rotate_nanopb: %s\n", what);
  exit(1);
}

static size_t write_rotate(void) {
  Rotate request = zorvik_gimbal_UavGimbalRotateReqMessage_init_zero;
  request.seq = 7;
  request.rotationMode =
      zorvik_gimbal_eUAVGimbalRotationMode_UAV_GIMBAL_ROTATION_MODE_ABSOLUTE_ANGLE;
  request.has_rotationValue = true;
  request.rotationValue.pitch = -30;
  request.rotationValue.yaw = 45;

  memset(&envelope, 0, sizeof envelope);
  envelope.topic_type =
      zorvik_channel_channelTopicType_CHANNEL_TOPIC_TYPE_GIMBAL_ROTATE;
  envelope.src_node_id = 1;
  envelope.dst_node_id = 9;
  envelope.has_data = true;
  strcpy(envelope.data.type_url, "type.googleapis.com/" ROTATE);
  pb_ostream_t content = pb_ostream_from_buffer(
      envelope.data.value.bytes, sizeof envelope.data.value.bytes);
  if (!pb_encode(&content, zorvik_gimbal_UavGimbalRotateReqMessage_fields,
                 &request)) {
    fail(PB_GET_ERROR(&content));
  }
  envelope.data.value.size = (pb_size_t)content.bytes_written;

  pb_ostream_t output = pb_ostream_from_buffer(encoded, sizeof encoded);
  if (!pb_encode(&output, zorvik_channel_channelTopicMessage_fields,
                 &envelope)) {
    fail(PB_GET_ERROR(&output));
  }
  return output.bytes_written;
}

static void describe(size_t size) {
  pb_istream_t input = pb_istream_from_buffer(encoded, size);
  if (!pb_decode(&input, zorvik_channel_channelTopicMessage_fields,
                 &envelope)) {
    fail(PB_GET_ERROR(&input));
  }
  printf("topic type %d\n", (int)envelope.topic_type);
  const char *slash = strrchr(envelope.data.type_url, '/');
  const char *name = slash == NULL ? "" : slash + 1;
  printf("%s\n", name);
  if (strcmp(name, ROTATE) != 0) return;

  Rotate request;
  pb_istream_t content = pb_istream_from_buffer(envelope.data.value.bytes,
                                                envelope.data.value.size);
  if (!pb_decode(&content, zorvik_gimbal_UavGimbalRotateReqMessage_fields,
                 &request)) {
    fail(PB_GET_ERROR(&content));
  }
  printf("seq %u pitch %d\n", (unsigned)request.seq,
         (int)request.rotationValue.pitch);
}

int main(int argc, char **argv) {
  if (argc != 3) fail("needs a file to write and a file to read");
  FILE *out = fopen(argv[1], "wb");
  if (out == NULL) fail("cannot open the file to write");
  const size_t size = write_rotate();
  if (fwrite(encoded, 1, size, out) != size) fail("cannot write");
  if (fclose(out) != 0) fail("cannot write");
  FILE *in = fopen(argv[2], "rb");
  if (in == NULL) fail("cannot open the file to read");
  describe(fread(encoded, 1, sizeof encoded, in));
  fclose(in);
  return 0;
}
