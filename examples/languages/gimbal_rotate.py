"""Turns a gimbal: writes the envelope of the command, reads an envelope back.

usage: gimbal_rotate.py FILE_TO_WRITE FILE_TO_READ
"""

import sys

from google.protobuf import message

import channelMessage_pb2 as channel
import gimbalMessage_pb2 as gimbal


def rotate():
    request = gimbal.UavGimbalRotateReqMessage(
        seq=7,
        rotationMode=gimbal.UAV_GIMBAL_ROTATION_MODE_ABSOLUTE_ANGLE,
        rotationValue=gimbal.GimbalAttitude3d(pitch=-30, yaw=45),
    )
    envelope = channel.channelTopicMessage(
        topic_type=channel.CHANNEL_TOPIC_TYPE_GIMBAL_ROTATE,
        src_node_id=1,
        dst_node_id=9,
    )
    envelope.data.Pack(request)
    return envelope.SerializeToString()


def describe(encoded):
    envelope = channel.channelTopicMessage.FromString(encoded)
    # topic_type may hold any number; not every number has a name.
    topics = channel.channelTopicType.DESCRIPTOR.values_by_number
    topic = topics.get(envelope.topic_type)
    print(topic.name if topic else envelope.topic_type)
    print(envelope.data.TypeName())
    if envelope.topic_type == channel.CHANNEL_TOPIC_TYPE_GIMBAL_ROTATE:
        request = gimbal.UavGimbalRotateReqMessage()
        # False when the type URL names another message.
        if not envelope.data.Unpack(request):
            raise message.DecodeError("the content is not that of the topic type")
        print("seq", request.seq, "pitch", request.rotationValue.pitch)


with open(sys.argv[1], "wb") as file:
    file.write(rotate())
with open(sys.argv[2], "rb") as file:
    describe(file.read())
