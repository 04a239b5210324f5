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

-- The value that stands for an id in the schema of a component. The same number
-- may be a service's and a report's: their names tell them apart.
local function find(component, id, is_report)
  local value = zorvik.enums[components][component]
  local file = value and value.comment:match("(%w+%.proto)")
  for _, enum in pairs(zorvik.enums) do
    local name = enum.file == file and enum[id] and enum[id].name or ""
    if is_report and (name:find("TOPIC") or name:find("REPORT"))
        or not is_report and name:find("SERVICE") then
      return enum[id]
    end
  end
end

function link.dissector(buffer, pinfo, tree)
  if buffer:len() < 6 then return 0 end
  local kind, component = buffer(0, 2):uint(), buffer(2, 2):uint()
  local id = buffer(4, 2):uint()
  local subject = find(component, id, kinds[kind] == "report") or {name = "id " .. id}
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

local udp_ports = DissectorTable.get("udp.port")
local ports = link.prefs.ports
udp_ports:add(ports, link)
function link.prefs_changed()
  udp_ports:remove(ports, link)
  ports = link.prefs.ports
  udp_ports:add(ports, link)
end
