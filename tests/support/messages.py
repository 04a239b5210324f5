"""The messages of the vocabulary for tests in Python, by their short names."""

import pathlib

from google.protobuf import descriptor_pb2, message_factory


class Messages:
    def __init__(self, descriptor_set):
        data = pathlib.Path(descriptor_set).read_bytes()
        schemas = descriptor_pb2.FileDescriptorSet.FromString(data)
        found = message_factory.GetMessages(schemas.file)
        self.classes = {name.rpartition(".")[2]: cls for name, cls in found.items()}

    def __call__(self, message, data=b"", /, **fields):
        """The message that is in the data, but with these fields."""
        result = self.classes[message].FromString(data)
        for name, value in fields.items():
            result.ClearField(name)
            result.MergeFrom(type(result)(**{name: value}))
        return result

    def bytes(self, *arguments, **fields):
        return self(*arguments, **fields).SerializeToString()

    def content(self, message, rest=b"", /, **fields):
        """The data of an envelope: the message, and a rest that may be malformed."""
        name = self.classes[message].DESCRIPTOR.full_name
        return {"type_url": f"type.googleapis.com/{name}", "value": self.bytes(message, **fields) + rest}

    def envelope(self, topic, source, destination, *content, **fields):
        return self.bytes("channelTopicMessage", topic_type=topic, src_node_id=source,
                          dst_node_id=destination, data=self.content(*content, **fields))
