-- Shows envelopes in Wireshark and tshark: messages that hold another one in a
-- google.protobuf.Any. One comes in a UDP datagram, in a publish of MQTT, or over
-- TCP behind its length.
--
-- This script reads the envelope by itself, up to what is wrong with it. All
-- fields are shown by Wireshark's own protobuf dissector, which takes them from
-- the schemas in its search paths. catalogue.lua is read from this script's
-- folder.

if _G.zorvik then return end  -- It may be a plugin, and in the command line as well.

local byte, find, min = string.byte, string.find, math.min
-- Methods that every envelope needs. To look one up takes as long as to call it.
local raw, len, range = Tvb.raw, Tvb.len, Tvb.range
local add, set_generated, referenced = TreeItem.add, TreeItem.set_generated, TreeItem.referenced
local call = Dissector.call
local folder = debug.getinfo(1, "S").source:match("^@(.*)[/\\]") or "."
local catalogue = dofile(folder .. "/catalogue.lua")
local any = "google.protobuf.Any"
local two_31, two_32 = 0x80000000, 0x100000000

-- Enums by full name, each value by its number; other scripts find them here.
local zorvik = {enums = catalogue.enums}
_G.zorvik = zorvik

-- The names of an enum's numbers, in the form that Wireshark takes.
function zorvik.names(enum)
  local names = {}
  for number, value in pairs(zorvik.enums[enum]) do
    if type(number) == "number" then names[number] = value.name end
  end
  return names
end

local protobuf = Dissector.get("protobuf")

-- Shows bytes as the message of that name. False when they are cut short, which
-- protobuf's dissector notes in the tree and then raises as an error.
function zorvik.dissect(message, buffer, pinfo, tree)
  pinfo.private["pb_msg_type"] = "message," .. message
  return (pcall(call, protobuf, buffer, pinfo, tree))
end

-- Reading what is encoded. Places are those of strings in Lua, from 1 on, and a
-- part ends before its stop.

-- Where the varint at a place ends, and its low 32 bits. Nothing if the bytes end
-- within it, false if it has more than ten.
local function varint(bytes, at)
  local _, last = find(bytes, "^[\128-\255]*[\0-\127]", at)
  if (last or #bytes + 1) - at > 9 then return false end
  if not last then return end
  local a, b, c, d, e = byte(bytes, at, last)
  local number = a % 128
  if b then number = number + b % 128 * 128 end
  if c then number = number + c % 128 * 16384 end
  if d then number = number + d % 128 * 2097152 end
  if e then number = number + e % 16 * 268435456 end
  return last + 1, number
end

-- What protobuf reads of messages in messages.
local deepest = 100

-- The field at a place: its number and wire type, where its value begins and
-- ends, the value of a varint, and what is wrong with it.
local function field(bytes, at, stop, depth)
  local from, tag = at + 1, byte(bytes, at)
  if not tag or tag > 127 then from, tag = varint(bytes, at) end
  if not from or from > stop then
    return nil, nil, nil, nil, nil, from == false and "is malformed" or "ends within a tag"
  end
  local wire = tag % 8
  local number = (tag - wire) / 8
  local to, value
  if wire == 0 then
    to, value = from + 1, byte(bytes, from)
    if not value or value > 127 then to, value = varint(bytes, from) end
  elseif wire == 2 then
    value = byte(bytes, from)
    if value and value < 128 then
      from = from + 1
    else
      from, value = varint(bytes, from)
    end
    to = from and from + value
    if from == false or to and value >= two_31 then to = false end
  elseif wire == 1 or wire == 5 then
    to = from + (wire == 1 and 8 or 4)
  elseif wire == 3 and depth < deepest then
    local inner, kind, _, fault
    to = from
    repeat
      inner, kind, _, to, _, fault = field(bytes, to, stop, depth + 1)
    until fault or kind == 4
    if fault then return number, wire, nil, nil, nil, fault end
    if inner ~= number then to = false end
  elseif wire == 4 and depth > 0 then
    to = from
  else
    to = false
  end
  if number == 0 or to == false then
    return number, wire, nil, nil, nil, "is malformed"
  end
  if not to or to > stop then
    return number, wire, from, to, nil, ("ends within field %d"):format(number)
  end
  return number, wire, from, to, value
end

local function signed(value)
  return value < two_31 and value or value - two_32
end

local function told(message, fault, at)
  return message .. " " .. fault .. ", at offset " .. at - 1
end

-- Reads a message and those in it. Where the first of its fields begins that is at
-- fault, and what is wrong; nothing if all is well.
local open
local function check(bytes, at, stop, message, depth)
  local fields = catalogue.messages[message]
  while at < stop do
    local number, wire, from, to, _, fault = field(bytes, at, stop, 0)
    if fault then return at, told(message, fault, at) end
    if wire == 2 and fields and fields[number] and depth < deepest then
      local type = fields[number].type
      if type == any then
        fault = select(4, open(bytes, from, to, depth))
      elseif catalogue.messages[type] then
        _, fault = check(bytes, from, to, type, depth + 1)
      end
      if fault then return at, fault end
    end
    at = to
  end
end

-- The name of the message in a type URL. Those that the runtimes write are at hand.
local names = {}
for message in pairs(catalogue.messages) do names["type.googleapis.com/" .. message] = message end
local function name_in(url)
  return names[url] or url:match(".*/(.*)") or url
end

-- Reads an Any: the name of its message, where its value begins and ends, and
-- what is wrong with it or with its value.
function open(bytes, at, stop, depth)
  local name, first, last
  while at < stop do
    local number, wire, from, to, _, fault = field(bytes, at, stop, 0)
    if wire == 2 and number == 2 and from then first, last = from, min(to, stop) end
    if fault then return name, first, last, told(any, fault, at) end
    if wire == 2 and number == 1 then name = name_in(bytes:sub(from, to - 1)) end
    at = to
  end
  local _, fault
  if first then _, fault = check(bytes, first, last, name, depth + 1) end
  return name, first, last, fault
end

-- The protocol of all kinds of envelopes. Each kind has its message, the number
-- of the field with the content, the names of its other fields and their numbers in
-- order, and the number of the one which tells what the content is for. For the
-- channel that is an enum, whose values tell what the content has to be.
local envelope = Proto("zorvik", "Zorvik envelope")
local shown = {content = ProtoField.string("zorvik.content", "content")}
local kinds, channel = {}
for message, fields in pairs(catalogue.messages) do
  local kind = {message = message, fields = {}, numbers = {}}
  for number, field in pairs(fields) do
    if field.type == any then
      kind.content = number
      kinds[message] = kind
    else
      kind.fields[number] = field.name
    end
  end
  for number in pairs(kind.content and kind.fields or {}) do table.insert(kind.numbers, number) end
  table.sort(kind.numbers)
  for _, number in ipairs(kind.numbers) do
    local field = fields[number]
    shown[field.name] = ProtoField.int32("zorvik." .. field.name, field.name, base.DEC,
      field.enum and zorvik.names(field.enum))
    if field.enum or not kind.subject then kind.subject = number end
    if field.enum then
      channel = kind
      kind.topics = zorvik.enums[field.enum]
    end
  end
end
envelope.fields = shown

-- Reads an envelope: its values by the numbers of the fields, the name of its
-- content, where the value is, whether one of its fields comes again, whether it
-- has other fields, where the first field begins that is at fault, what is wrong,
-- and whether that is its end.
local function read(bytes, kind)
  local numbers = {nil, nil, nil}  -- With room for those of the channel.
  local result = {kind = kind, numbers = numbers, content = nil, first = nil, last = nil,
    again = nil, foreign = nil}
  local at, stop, has_content = 1, #bytes + 1, false
  while at < stop do
    local number, wire, from, to, value, fault = field(bytes, at, stop, 0)
    local name = kind.fields[number]
    if fault then
      result.cut = fault ~= "is malformed"
      fault = told(kind.message, fault, at)
    end
    if number == kind.content and wire == 2 then
      result.again = result.again or has_content
      has_content = true
      if from then
        local content, first, last, inner = open(bytes, from, min(to, stop), 0)
        result.content = content or result.content
        if first then result.first, result.last = first, last end
        fault = fault or inner
      end
    elseif name and wire == 0 then
      result.again = result.again or numbers[number]
      if value then numbers[number] = signed(value) end
    elseif number then
      result.foreign = true
    end
    if fault then
      result.fault, result.at = fault, at
      break
    end
    at = to
  end
  return result
end

-- The kind of envelope that the bytes are from their beginning up to the type URL
-- of a message of the vocabulary, or nothing.
local function kind_of(bytes)
  for _, kind in pairs(kinds) do
    local at = 1
    local tag = byte(bytes, at)
    while tag and tag % 8 == 0 and kind.fields[tag / 8] do
      at = varint(bytes, at + 1)
      tag = at and byte(bytes, at)
    end
    if tag == kind.content * 8 + 2 then
      local from, size = varint(bytes, at + 1)
      local begin, length = varint(bytes, from and byte(bytes, from) == 10 and from + 1 or #bytes + 1)
      if begin and begin + length <= from + size and
          bytes:sub(begin, begin + length - 1):find("^[%w%-._~:/]*/zorvik%.[%w_.]+$") and
          begin + length <= #bytes + 1 then
        return kind
      end
    end
  end
end

-- What the protobuf dissector hands over while it shows an envelope: the value of
-- an Any, and numbers of enums. That it does shows that it has the schemas.
local schemas_found, name_of_content, checks_contents

-- The function takes all of the bytes, as it returns nothing else.
local function at_field(field, protocol, handle)
  protocol.dissector = handle
  DissectorTable.get("protobuf_field"):add(field, protocol)
end

-- Shows the fields of a message that are before the first one at fault.
local function show_fields(message, buffer, at, pinfo, tree)
  if at ~= 1 and len(buffer) > 0 then
    zorvik.dissect(message, at and buffer(0, at - 1):tvb() or buffer, pinfo, tree)
  end
end

-- Content in content is shown so deep: each takes some of the 200 calls from C that
-- Lua has room for.
local deepest_shown, level = 10, 0
local function show_content(buffer, pinfo, tree)
  schemas_found = true
  local name = name_of_content
  if name and level < deepest_shown then
    local at = checks_contents and check(raw(buffer), 1, len(buffer) + 1, name, 0)
    name_of_content = kinds[name] and read(raw(buffer), kinds[name]).content
    level = level + 1
    show_fields(name, buffer, at or nil, pinfo, tree)
    level = level - 1
    name_of_content = name
  end
end

local contents = Proto("zorvik.any_value", "Content")
at_field(any .. ".value", contents, show_content)

-- A dissector for each enum, which shows the numbers of a field by their names.
local numbers = {}
local function dissector_of_enum(enum)
  local shown_number = ProtoField.int32(enum, enum:match("[^.]+$"), base.DEC, zorvik.names(enum))
  numbers[enum] = shown_number
  return function(buffer, _, tree)
    schemas_found = true
    local bytes, at = raw(buffer), 1
    while at and at <= #bytes do  -- A repeated field holds several varints.
      local to, value = varint(bytes, at)
      if to then add(tree, shown_number, range(buffer, at - 1, to - at), signed(value)) end
      at = to
    end
  end
end

local enums = {}
for message, fields in pairs(catalogue.messages) do
  for _, field in pairs(fields) do
    local enum = field.enum
    if enum and enum ~= field.type then
      enums[enum] = enums[enum] or {Proto(enum, enum), dissector_of_enum(enum)}
      at_field(message .. "." .. field.name, enums[enum][1], enums[enum][2])
    end
  end
end
contents.fields = numbers

local function remark(name, text, group, severity)
  local result = ProtoExpert.new("zorvik." .. name, text, group, severity)
  envelope.experts = {result}
  return result
end
local malformed = remark("malformed", "The envelope is malformed",
  expert.group.MALFORMED, expert.severity.ERROR)
local several = remark("several", "Fields of the envelope come more than once. "
  .. "A receiver takes this for one envelope; several have to be framed",
  expert.group.PROTOCOL, expert.severity.WARN)
local wrong_content = remark("wrong_content",
  "The content is not the message that the topic type carries",
  expert.group.PROTOCOL, expert.severity.WARN)
-- Links to the scripts may be elsewhere than the schemas.
local schema = io.open(folder .. "/channelMessage.proto")
if schema then schema:close() end
local no_schemas = remark("no_schemas",
  "Add " .. (schema and folder or "the folder of the schemas") .. " and the folder of google/protobuf/any.proto to the protobuf search paths",
  expert.group.UNDECODED, expert.severity.WARN)

-- What the columns say of an envelope.
local function summary_of(found, fault)
  local kind, number = found.kind, found.numbers[found.kind.subject]
  local text = found.content or not fault and "no content"
  text = text and fault and text .. ", " .. fault or text or fault
  local subject = kind.fields[kind.subject]
  if not number and not found.content then
    return fault or "neither " .. subject .. " nor content"
  elseif kind.topics then
    local topic = kind.topics[number or 0]
    return (topic and topic.name or "topic type " .. number) .. ": " .. text
  end
  return subject .. " " .. (number or 0) .. ": " .. text
end

-- The topic of an envelope whose content it does not carry, or nothing.
local function missed_topic(found)
  local kind = found.kind
  local topic = kind.topics and kind.topics[found.numbers[kind.subject] or 0]
  return topic and topic.carries and found.content ~= topic.carries and topic or nil
end

local own_dissector, content_dissector

-- Shows an envelope. Returns what the columns say of it.
local function show(buffer, pinfo, tree, found)
  local kind = found.kind
  local fault = found.fault and (found.cut and "cut" or "malformed")
  if fault == "cut" and len(buffer) < buffer:reported_len() then
    fault = "cut by the capture"
  end
  local summary = summary_of(found, fault)
  local whole = range(buffer)
  local branch = add(tree, envelope, whole, "Zorvik envelope, " .. summary)

  local topic = missed_topic(found)
  if found.fault then
    branch:add_proto_expert_info(malformed, found.fault)
  elseif topic then
    branch:add_proto_expert_info(wrong_content,
      topic.name .. " carries " .. topic.carries .. ", not " .. (found.content or "nothing"))
  end
  if found.again then branch:add_proto_expert_info(several) end

  if referenced(tree, own_dissector) then
    local values = found.numbers
    for i = 1, #kind.numbers do
      local number = kind.numbers[i]
      if values[number] then
        set_generated(add(branch, shown[kind.fields[number]], whole, values[number]))
      end
    end
    if found.content then
      set_generated(add(branch, shown.content, whole, found.content))
    end
  end

  -- The rest takes most of the time.
  if schemas_found == nil or referenced(tree, protobuf) or referenced(tree, content_dissector) then
    name_of_content, checks_contents = found.content, found.fault
    show_fields(kind.message, buffer, found.at, pinfo, branch)
    if found.cut and found.first and found.last > found.first then
      show_content(buffer(found.first - 1, found.last - found.first):tvb(), pinfo, branch)
    end
    local has_value = found.content and found.first and found.last > found.first
    if not found.fault and (has_value or found.numbers[kind.subject] and kind.topics) then
      schemas_found = schemas_found or false
    end
  end
  if schemas_found == false then branch:add_proto_expert_info(no_schemas) end
  return summary
end

-- Shows an envelope, and says so in the columns: in place of what they have, or
-- behind it and between these texts.
local function show_in_columns(buffer, pinfo, tree, found, before, after)
  local columns = pinfo.cols
  if before then columns.info:fence() end
  local summary = show(buffer, pinfo, tree, found)
  columns.protocol = "Zorvik"
  columns.info = before and before .. summary .. after or summary
  if before then columns.info:fence() end
  return len(buffer)
end

-- Reads what has to be an envelope, of whatever kind.
local function read_any(bytes)
  local found = read(bytes, channel)
  for _, kind in pairs(found.foreign and kinds or {}) do
    local other = read(bytes, kind)
    if not other.foreign then found = other end
  end
  return found
end

local udp = 3
local already_read
function envelope.dissector(buffer, pinfo, tree)
  local joined = pinfo.port_type ~= udp
  local found = already_read or read_any(buffer:raw())
  already_read = nil
  return show_in_columns(buffer, pinfo, tree, found, joined and ": ", joined and "")
end
own_dissector, content_dissector = Dissector.get("zorvik"), Dissector.get("zorvik.any_value")

function envelope.init()
  schemas_found = nil
end

-- What follows an envelope between the same ports is one, too, if it has no fields
-- but those of an envelope.
local follower = Proto("zorvik.follower", "Zorvik envelope behind another one")
function follower.dissector(buffer, pinfo, tree)
  local bytes = raw(buffer)
  local found = read_any(bytes)
  -- Then it is looked at like the first one.
  if found.foreign or found.fault and not found.cut then return 0 end
  -- Remarks come in the name of the dissector that is called, which takes its time.
  if found.fault or found.again or missed_topic(found) or not schemas_found then
    already_read = found
    return own_dissector:call(buffer, pinfo, tree)
  end
  return show_in_columns(buffer, pinfo, tree, found)
end

envelope:register_heuristic("udp", function(buffer, pinfo, tree)
  local bytes = buffer:raw()
  local kind = kind_of(bytes)
  if not kind then return false end
  pinfo.conversation = follower
  show_in_columns(buffer, pinfo, tree, read(bytes, kind))
  return true
end)

envelope:register_heuristic("mqtt.topic", function(buffer, pinfo, tree)
  local bytes = buffer:raw()
  local kind = kind_of(bytes)
  if not kind then return false end
  show_in_columns(buffer, pinfo, tree, read(bytes, kind), ": ", "")
  return true
end)

envelope.prefs.ports = Pref.range("UDP ports", "",
  "Ports whose datagrams are envelopes. Those with content are found on any port.", 65535)
envelope.prefs.tcp_ports = Pref.range("TCP ports", "",
  "Ports whose streams are envelopes, each behind its length.", 65535)
local as_varint, as_big_endian = 1, 2
envelope.prefs.tcp_framing = Pref.enum("Length over TCP", as_varint,
  "Form of the length in front of each envelope over TCP", {
    {1, "varint", as_varint},
    {2, "4 bytes, big-endian", as_big_endian},
  })

-- Where the envelope begins whose length is at an offset, and how long it is.
-- Nothing if the bytes end before, false if that cannot be a length.
local longest = 2 ^ 20
local function framed(buffer, at)
  local from, length
  if envelope.prefs.tcp_framing == as_varint then
    from, length = varint(buffer:raw(at), 1)
    from = from and at + from - 1
  elseif buffer:len() - at >= 4 then
    from, length = at + 4, buffer(at, 4):uint()
  end
  if from == false or length and length > longest then return false end
  return from, length
end

-- Envelopes in a stream, which go on in the next segment or begin in the middle.
local stream = Proto("zorvik_tcp", "Zorvik envelopes over TCP")
local no_length = ProtoExpert.new("zorvik_tcp.no_length",
  "This is no length of an envelope: look at the preference zorvik.tcp_framing",
  expert.group.MALFORMED, expert.severity.ERROR)
stream.experts = {no_length}
function stream.dissector(buffer, pinfo, tree)
  local at = 0
  while at < buffer:len() do
    local from, length = framed(buffer, at)
    local missing = from and from + length - buffer:len()
    if pinfo.can_desegment > 0 and (from == nil or missing and missing > 0) then
      pinfo.desegment_offset = at
      pinfo.desegment_len = missing or DESEGMENT_ONE_MORE_SEGMENT
      break
    end
    pinfo.cols.protocol = "Zorvik"
    pinfo.cols.info = ""  -- Of this frame's envelopes, each is behind a fence.
    if not from then
      pinfo.cols.info = from == nil and "cut length" or "no length of an envelope"
      tree:add(stream, buffer(at)):add_proto_expert_info(no_length)
      break
    end
    local stop = min(from + length, buffer:len())
    if stop > from then
      local part = buffer(from, stop - from):tvb()
      show_in_columns(part, pinfo, tree, read_any(part:raw()), "", "  ")
    else
      tree:add(envelope, buffer(at, from - at), "Zorvik envelope, empty")
      pinfo.cols.info = "empty  "
      pinfo.cols.info:fence()
    end
    at = stop
  end
  return buffer:len()
end

local function follow_preference(name, ports, protocol)
  ports:add_for_decode_as(protocol)
  local present = ""
  return function()
    if present ~= "" then ports:remove(present, protocol) end
    present = envelope.prefs[name]
    if present ~= "" then ports:add(present, protocol) end
  end
end
local follow_udp = follow_preference("ports", DissectorTable.get("udp.port"), envelope)
local follow_tcp = follow_preference("tcp_ports", DissectorTable.get("tcp.port"), stream)
function envelope.prefs_changed()
  follow_udp()
  follow_tcp()
end
