"""Answers the cases of zorvik check codec with Python's protobuf runtime.

usage: python_peer.py DESCRIPTOR_SET < CASES > ANSWERS
"""

import json
import os
import sys

# The runtime in C++ is the one that the library itself uses.
os.environ["PROTOCOL_BUFFERS_PYTHON_IMPLEMENTATION"] = "python"

from google.protobuf import descriptor_pb2
from google.protobuf import descriptor_pool
from google.protobuf import json_format
from google.protobuf import message_factory
from google.protobuf.internal import api_implementation
from google.protobuf.message import DecodeError


def answer(case, factory, pool):
    """Returns the answer to one case."""
    cls = factory.GetPrototype(pool.FindMessageTypeByName(case["message"]))
    try:
        message = cls.FromString(bytes.fromhex(case["bytes"]))
    except (DecodeError, UnicodeDecodeError) as error:
        return {"error": repr(error)}
    result = {"bytes": message.SerializeToString().hex()}
    if "json" in case:
        result["json"] = json_format.MessageToJson(
            message, descriptor_pool=pool, indent=None
        )
        try:
            again = json_format.Parse(case["json"], cls(), descriptor_pool=pool)
            result["fromJson"] = again.SerializeToString().hex()
        except json_format.ParseError as error:
            result["jsonError"] = str(error)
    return result


def load(path):
    """Returns what answer needs."""
    if api_implementation.Type() != "python":
        sys.exit("python_peer: not the implementation in Python")
    pool = descriptor_pool.DescriptorPool()
    with open(path, "rb") as file:
        schemas = descriptor_pb2.FileDescriptorSet.FromString(file.read())
    for schema in schemas.file:
        pool.Add(schema)
    return message_factory.MessageFactory(pool), pool


if __name__ == "__main__":
    factory, pool = load(sys.argv[1])
    for line in sys.stdin:
        print(json.dumps(answer(json.loads(line), factory, pool)))
