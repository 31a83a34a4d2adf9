-- ardour7-lua editors.lua SESSION_DIR
-- A session with two tracks, "vst3" and "lv2", each with Korro Tarrow in that
-- format, for the test of the editors in Ardour's windows. Prints each
-- plug-in's name in Ardour's window list: P-<route id>-<processor id>.
AudioEngine:set_backend ("None (Dummy)", "", "")
local s = create_session (arg[1], "editors", 48000)
assert (s, "no session")
local function track (name, kind, id)
  local t = s:new_audio_track (2, 2, nil, 1, name, ARDOUR.PresentationInfo.max_order,
                               ARDOUR.TrackMode.Normal, false, false):front ()
  assert (t, "no track")
  local p = ARDOUR.LuaAPI.new_plugin (s, id, kind, "")
  assert (not p:isnil (), "Korro Tarrow not found as " .. name)
  assert (t:add_processor_by_index (p, 0, nil, true) == 0, "could not insert the plug-in")
  print (string.format ("window\t%s\tP-%s-%s", name, t:to_stateful ():id ():to_s (), p:to_stateful ():id ():to_s ()))
end
track ("vst3", ARDOUR.PluginType.VST3, "Korro Tarrow")
track ("lv2", ARDOUR.PluginType.LV2, "https://korro-tarrow.example.org/lv2/tarrow")
s:save_state ("", false, false, false, false, false)
close_session ()
print ("done")
