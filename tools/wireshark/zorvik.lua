-- Shows the channel envelope in Wireshark and tshark: one UDP datagram, one
-- zorvik.channel.channelTopicMessage.
--
-- Wireshark's own protobuf dissector does the decoding and takes all names from
-- the schemas, which must be in its search paths. This script brings what that
-- dissector cannot know: which datagrams are ours, that the value of an Any is
-- the message which its type URL names, and that a plain number is an enum's
-- where the catalogue says so. catalogue.lua is read from this script's folder.

local envelope_type = "zorvik.channel.channelTopicMessage"
local folder = debug.getinfo(1, "S").source:match("^@(.*)[/\\]") or "."
local catalogue = dofile(folder .. "/catalogue.lua")

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
local protobuf_field = DissectorTable.get("protobuf_field")

-- Shows bytes as the message of that name. False when they are cut short, which
-- protobuf's dissector notes in the tree and then raises as an error.
function zorvik.dissect(message, buffer, pinfo, tree)
  pinfo.private["pb_msg_type"] = "message," .. message
  return (pcall(Dissector.call, protobuf, buffer, pinfo, tree))
end

-- What the fields of the present envelope turned out to be.
local seen = {}

-- Calls handle(buffer, pinfo, tree) for the values of a field.
local function at_field(field, protocol, handle)
  protocol.dissector = function(buffer, pinfo, tree)
    handle(buffer, pinfo, tree)
    return buffer:len()
  end
  protobuf_field:add(field, protocol)
end

at_field("google.protobuf.Any.type_url", Proto("zorvik.any_type", "Content type"),
  function(buffer)
    seen.content = buffer:raw():match("[^/]*$")
  end)
at_field("google.protobuf.Any.value", Proto("zorvik.any_value", "Content"),
  function(buffer, pinfo, tree)
    if seen.content and not zorvik.dissect(seen.content, buffer, pinfo, tree) then
      seen.malformed = true
    end
  end)

-- A protocol for each enum, whose one field shows number and name.
local function protocol_of_enum(enum)
  local protocol = Proto(enum, enum)
  local field = ProtoField.int32(enum, enum:match("[^.]+$"), base.DEC, zorvik.names(enum))
  protocol.fields = {field}
  return protocol, function(buffer, _, tree)
    local number, weight, start = 0, 1, 0
    for i = 0, buffer:len() - 1 do  -- A repeated field holds several varints.
      local byte = buffer(i, 1):uint()
      -- A 32-bit field keeps the low 32 bits of what it receives.
      number = (number + byte % 128 * weight) % 2 ^ 32
      weight = weight * 128 % 2 ^ 32
      if byte < 128 then
        if number >= 2 ^ 31 then number = number - 2 ^ 32 end
        tree:add(field, buffer(start, i + 1 - start), number)
        seen[enum] = number
        number, weight, start = 0, 1, i + 1
      end
    end
  end
end

local protocols = {}
for field, enum in pairs(catalogue.enum_of_field) do
  protocols[enum] = protocols[enum] or {protocol_of_enum(enum)}
  at_field(field, protocols[enum][1], protocols[enum][2])
end

local envelope = Proto("zorvik", "Zorvik channel")
local wrong_content = ProtoExpert.new("zorvik.wrong_content",
  "The content is not the message that the topic type carries",
  expert.group.PROTOCOL, expert.severity.WARN)
local no_schemas = ProtoExpert.new("zorvik.no_schemas",
  "Add " .. folder .. " and the folder of google/protobuf/any.proto to the protobuf search paths",
  expert.group.UNDECODED, expert.severity.WARN)
envelope.experts = {wrong_content, no_schemas}
envelope.prefs.ports = Pref.range("UDP ports", "",
  "Ports whose datagrams are envelopes. Those with content are found on any port.", 65535)

local topic_types = catalogue.enum_of_field[envelope_type .. ".topic_type"]

function envelope.dissector(buffer, pinfo, tree)
  seen = {}
  pinfo.cols.protocol = "Zorvik"
  local branch = tree:add(envelope, buffer())
  if not zorvik.dissect(envelope_type, buffer, pinfo, branch) then seen.malformed = true end
  pinfo.cols.protocol = "Zorvik"
  local number = seen[topic_types] or 0
  local topic = zorvik.enums[topic_types][number] or {name = "topic type " .. number}
  local summary = topic.name .. ": " .. (seen.content or "no content")
  if not next(seen) then summary = "neither topic type nor content" end
  if seen.malformed then summary = topic.name .. ": malformed" end
  pinfo.cols.info = summary
  branch:append_text(", " .. summary)
  if topic.carries and seen.content ~= topic.carries and not seen.malformed then
    branch:add_proto_expert_info(wrong_content,
      topic.name .. " carries " .. topic.carries .. ", not " .. (seen.content or "nothing"))
  end
  if not next(seen) and buffer:raw():match("^\8[\128-\255]*[%z\1-\127]") then
    branch:add_proto_expert_info(no_schemas)
  end
  return buffer:len()
end

local udp_ports = DissectorTable.get("udp.port")
udp_ports:add_for_decode_as(envelope)
local ports = envelope.prefs.ports
function envelope.prefs_changed()
  if ports ~= "" then udp_ports:remove(ports, envelope) end
  ports = envelope.prefs.ports
  if ports ~= "" then udp_ports:add(ports, envelope) end
end

-- An envelope is known by the type URL of its content, and by beginning with one
-- of its own tags: other messages may hold an envelope.
envelope:register_heuristic("udp", function(buffer, pinfo, tree)
  local bytes = buffer:raw()
  if not bytes:match("^[\8\16\24\34]") or not bytes:find("/zorvik.", 1, true) then
    return false
  end
  pinfo.conversation = envelope
  envelope.dissector(buffer, pinfo, tree)
  return true
end)
