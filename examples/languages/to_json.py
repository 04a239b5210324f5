"""Prints an encoded message as JSON. Knows no schema but those of the
descriptor set that it is given, and unpacks contents with them.

usage: to_json.py DESCRIPTOR_SET FULL_NAME FILE
"""

import sys

from google.protobuf import descriptor_pb2, descriptor_pool, json_format
from google.protobuf import message_factory


def class_of(descriptor):
    # From protobuf 4.22 on; a factory, which made the classes before, is gone.
    if hasattr(message_factory, "GetMessageClass"):
        return message_factory.GetMessageClass(descriptor)
    return message_factory.MessageFactory().GetPrototype(descriptor)


descriptor_set, full_name, path = sys.argv[1:]
pool = descriptor_pool.DescriptorPool()
with open(descriptor_set, "rb") as file:
    for schema in descriptor_pb2.FileDescriptorSet.FromString(file.read()).file:
        pool.AddSerializedFile(schema.SerializeToString())
with open(path, "rb") as file:
    message = class_of(pool.FindMessageTypeByName(full_name)).FromString(file.read())
print(json_format.MessageToJson(message, descriptor_pool=pool, indent=None))
