-- Shows the messages that the example programs exchange outside the envelope,
-- behind the header that service_link.h describes. The header belongs to these
-- examples alone, and so does this script; load it after zorvik.lua.

local components = "zorvik.protocol.UAV_COMPONENT_ID"
local kinds = {"request", "answer", "report"}

local link = Proto("zorvik_link", "Service link of the Zorvik examples")
local fields = {
  kind = ProtoField.uint16("zorvik_link.kind", "Kind", base.DEC, kinds),
  component = ProtoField.uint16("zorvik_link.component", "Component", base.DEC,
    zorvik.names(components)),
  id = ProtoField.uint16("zorvik_link.id", "Id"),
  name = ProtoField.string("zorvik_link.name", "Name"),
}
link.fields = fields
link.prefs.ports = Pref.range("UDP ports", "45450", "Ports of ground_station", 65535)

-- What the number of an id means for a component: services apart from topics and
-- reports. The header does not tell a topic from a report of the same number, so
-- that both names are given.
local function find(component, id, is_service)
  local found = {}
  for _, kind in ipairs(is_service and {"service"} or {"report", "topic"}) do
    for _, enum in pairs(zorvik.enums) do
      if enum.ids == kind and enum.component == component and enum[id] then
        found.name = found.name and found.name .. " or " .. enum[id].name or enum[id].name
        found.carries = found.carries or enum[id].carries
        found.answer = found.answer or enum[id].answer
      end
    end
  end
  found.known = found.name ~= nil
  found.name = found.name or "id " .. id
  return found
end

function link.dissector(buffer, pinfo, tree)
  if buffer:len() < 6 then return 0 end
  local kind, component = buffer(0, 2):uint(), buffer(2, 2):uint()
  local id = buffer(4, 2):uint()
  local subject = find(component, id, kinds[kind] ~= "report")
  local message = subject.carries
  if kinds[kind] == "answer" then message = subject.answer end

  local branch = tree:add(link, buffer(0, 6))
  branch:add(fields.kind, buffer(0, 2))
  branch:add(fields.component, buffer(2, 2))
  branch:add(fields.id, buffer(4, 2))
  branch:add(fields.name, buffer(4, 2), subject.name):set_generated()
  if buffer:len() > 6 then
    zorvik.dissect(message or "", buffer(6):tvb(), pinfo, tree)
  end
  pinfo.cols.protocol = "Zorvik link"
  pinfo.cols.info = subject.name .. " (" .. (kinds[kind] or kind) .. "): " .. (message or "open")
  return buffer:len()
end

-- On any port: a header whose numbers all have names.
link:register_heuristic("udp", function(buffer, pinfo, tree)
  if buffer:len() < 6 then return false end
  local kind, component = kinds[buffer(0, 2):uint()], buffer(2, 2):uint()
  if not kind or not find(component, buffer(4, 2):uint(), kind ~= "report").known then
    return false
  end
  pinfo.conversation = link
  link.dissector(buffer, pinfo, tree)
  return true
end)

local udp_ports = DissectorTable.get("udp.port")
local ports = link.prefs.ports
udp_ports:add(ports, link)
function link.prefs_changed()
  udp_ports:remove(ports, link)
  ports = link.prefs.ports
  udp_ports:add(ports, link)
end
