"""What the schemas say about their ids, messages and enums, as data.

    from zorvikpbproto import catalogue

    rotate = catalogue.id("zorvik.channel.channelTopicType", 10404)
    print(rotate["name"], rotate["carries"])
    print(catalogue.messages[rotate["carries"]]["comment"])

Each entry is one of catalogue.json: catalogue.schema.json describes its members.
"""

import json as _json
import pathlib as _pathlib

_data = _json.loads(
    _pathlib.Path(__file__).with_name("catalogue.json").read_text(encoding="utf-8")
)

version = _data["version"]
# By file name, and by full name.
schemas = {schema["name"]: schema for schema in _data["schemas"]}
ids = {id["name"]: id for id in _data["ids"]}
messages = {message["name"]: message for message in _data["messages"]}
enums = {enum["name"]: enum for enum in _data["enums"]}

_numbers = {(id["enum"], id["number"]): id for id in _data["ids"]}


def id(enum, number):
    """The id of that number in an enum, by the enum's full name.

    None for a number that the enum does not declare: any number may arrive.
    """
    return _numbers.get((enum, number))
