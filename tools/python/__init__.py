"""The message vocabulary of the Zorvik aircraft.

Each schema is a module: zorvikpbproto.gimbalMessage_pb2 is gimbalMessage.proto.
zorvikpbproto.catalogue is what the schemas say about ids, messages and enums.
"""
