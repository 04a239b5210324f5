#!/usr/bin/python3
"""zorvik check codec finds what peers do wrong that are broken on purpose.

usage: broken_peer_test.py ZORVIK DESCRIPTOR_SET BOUNDS
       broken_peer_test.py DESCRIPTOR_SET FAULT < CASES > ANSWERS
"""

import json
import subprocess
import sys

import python_peer


def fields(data):
    """The number, wire type and bytes of each field."""
    at = 0  # Groups, which only vectors have, come as what is in them.

    def varint():
        nonlocal at
        shift = value = 0
        while True:
            byte = data[at]
            at += 1
            value |= (byte & 127) << shift
            shift += 7
            if byte < 128:
                return value

    while at < len(data):
        start = at
        tag = varint()
        kind = tag & 7
        if kind == 0:
            varint()
        elif kind == 2:
            size = varint()
            at += size
        else:
            at += {1: 8, 5: 4}.get(kind, 0)
        yield tag >> 3, kind, data[start:at]


def known(data):
    return b"".join(text for number, _, text in fields(data) if number < 3)


# How an answer to a case is changed.
def takes(what):
    return lambda case, given: ({"bytes": case["bytes"]}
                                if what in given.get("error", "") else given)


def refuses_unusual(case, given):
    return ({"error": "unusual"} if given.get("bytes", case["bytes"]) != case["bytes"]
            else given)


def rewrites(change):
    def apply(case, given):
        if "error" in given:
            return given
        given["bytes"] = change(bytes.fromhex(given["bytes"])).hex()
        return given
    return apply


FAULTS = {
    # Name: the change, the message, and the rules that fail.
    "no JSON": (lambda case, given: {k: v for k, v in given.items() if "J" not in k and k != "json"},
                "UavResetReqMessage", []),
    "JSON at times": (lambda case, given: given if len(case["bytes"]) > 10 else
                      {k: v for k, v in given.items() if k in ("bytes", "error")},
                      "UavResetReqMessage", ["json"]),
    "JSON with other names": (lambda case, given: {**given, "json": given["json"].replace("payloadId", "payload_id")}
                              if "json" in given else given, "onOffMessage", ["json"]),
    "numbers in JSON as text": (lambda case, given: {**given, "json": given["json"].replace('": 1', '": "1')}
                                if given.get("json") == '{"payloadId": 1, "onOff": 2}' else given,
                                "onOffMessage", ["json"]),
    "JSON of its own": (lambda case, given: {**given, "fromJson": known(bytes.fromhex(given["bytes"])).hex()}
                        if "json" in given else given, "onOffMessage", ["json"]),
    "wrong bytes from JSON": (lambda case, given: {**given, "fromJson": ""}
                              if "fromJson" in given else given, "onOffMessage", ["json"]),
    "takes what is cut": (takes("runcated"), "CameraGetRateMessage", ["truncated"]),
    "takes any text": (takes("utf"), "logMessage", ["text"]),
    "drops what it does not know": (rewrites(known), "onOffMessage", ["unknown-fields"]),
    "writes the last field first": (rewrites(lambda data: b"".join([text for _, _, text in fields(data)][::-1])),
                                    "onOffMessage", ["fill", "foreign-encoding", "merge", "unknown-fields", "vectors"]),
    "refuses the unusual": (refuses_unusual, "singleTargetInfo",
                            ["foreign-encoding", "merge"]),
    "long text is cut": (rewrites(lambda data: data[:300]), "logMessage", ["fill"]),
    "no answer": (lambda case, given: None, "onOffMessage", ["protocol"]),
    "an answer too many": (lambda case, given: given, "onOffMessage", ["protocol"]),
    "no JSON object": (lambda case, given: 7, "onOffMessage", ["protocol"]),
    "neither bytes nor error": (lambda case, given: {}, "onOffMessage", ["protocol"]),
}


def main(descriptors, name):
    factory, pool = python_peer.load(descriptors)
    change = FAULTS[name][0]
    for line in sys.stdin:
        case = json.loads(line)
        given = change(case, python_peer.answer(case, factory, pool))
        if given is not None:
            print(json.dumps(given))
    if name == "an answer too many":
        print("{}")


def test(zorvik, descriptors, bounds):
    faults = []

    def failed(type_name, *arguments):
        ran = subprocess.run([zorvik, "check", "codec", "--json", "-t", type_name,
                              *arguments], capture_output=True, text=True, timeout=120)
        rules = json.loads(ran.stdout)["rules"]
        found = sorted(rule["rule"] for rule in rules if rule["verdict"] == "fail")
        if ran.returncode != bool(found):
            faults.append(f"{type_name} {arguments}: status {ran.returncode}")
        return found

    for name, (_, type_name, expected) in FAULTS.items():
        found = failed(type_name, "--", sys.executable, __file__, descriptors, name)
        if found != sorted(expected):
            faults.append(f"{name}: {found}, not {expected}")
    good = ["--", sys.executable, python_peer.__file__, descriptors]
    # It has no bounds, and loses a negative zero.
    for arguments, expected in [(["uploadKmlFileMsg", "--bounds", bounds], ["bounds", "fill", "unknown-fields"]),
                                (["UavCameraFReqMessage"], ["negative-zero"]),
                                (["UavCameraFReqMessage", "--except", "negative-zero"], [])]:
        if (found := failed(*arguments, *good)) != expected:
            faults.append(f"{arguments}: {found}, not {expected}")
    for program in (["/nonexistent"], ["false"], ["sleep", "60"]):
        ran = subprocess.run([zorvik, "check", "codec", "-t", "onOffMessage", "--patience",
                              "0.2", "--", *program], capture_output=True, timeout=30)
        if ran.returncode != 1:
            faults.append(f"{program}: status {ran.returncode}")
    sys.exit("\n".join(faults) if faults else 0)


(test if len(sys.argv) == 4 else main)(*sys.argv[1:])
