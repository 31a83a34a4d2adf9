-- ardour7-lua render.lua SESSION_DIR PROGRAM...
-- A session with a track of noise bounced to a region, and a second track
-- playing that region through Korro Tarrow; the second track is bounced at
-- the plug-in's default ("default"), then with each factory PROGRAM in turn
-- loaded as Ardour loads a preset ("program-N"), then once more after the
-- session is saved and opened again ("reopened"). The same with a mono track
-- at the default ("mono"). Prints what the test checks: the plug-in, its
-- presets, the values Ardour shows, the files written. Bounces land in
-- interchange/<session folder>/audiofiles, one mono file per channel
-- ("NAME%L.wav", "NAME%R.wav"), or "NAME.wav" from a mono track.
local dir = arg[1]
local programs = {}
for i = 2, #arg do programs[#programs + 1] = tonumber (arg[i]) end
local input_frames, output_frames = 14400, 96000

-- One line per fact, fields separated by tabs (Ardour's print joins with spaces).
local function say (...)
  local fields = {}
  for i, v in ipairs ({ ... }) do fields[i] = tostring (v) end
  print (table.concat (fields, "\t"))
end

AudioEngine:set_backend ("None (Dummy)", "", "")
local s = create_session (dir, "render", 48000)
assert (s, "no session")

local function track (name, inputs)
  local t = s:new_audio_track (inputs, 2, nil, 1, name, ARDOUR.PresentationInfo.max_order,
                               ARDOUR.TrackMode.Normal, false, false):front ()
  assert (t, "no track")
  return t
end

-- Noise bounced to a region ("<prefix>input") on a track of its own, and a
-- track with that region and the plug-in. The first bounce of the new track
-- does not read the region as the file holds it (even with the plug-in left
-- out); the ones after it do. The test checks that the second bounce,
-- "<prefix>raw", is the input file.
local function reverb_track (prefix, channels)
  local source = track (prefix .. "noise", channels)
  local noise = ARDOUR.LuaAPI.new_luaproc (s, "Korro Test Noise")
  assert (not noise:isnil (), "no noise generator")
  source:add_processor_by_index (noise, 0, nil, true)
  local input = source:bounce_range (0, input_frames, ARDOUR.InterThreadInfo (), noise, true, prefix .. "input", false)
  assert (not input:isnil (), "no input region")
  -- Ardour fades a region in and out by default; the file is the input, unfaded.
  local audio = input:to_audioregion ()
  audio:set_fade_in_active (false)
  audio:set_fade_out_active (false)

  local fx = track (prefix .. "reverb", channels)
  fx:playlist ():add_region (input, Temporal.timepos_t (0), 1, false)
  local insert = ARDOUR.LuaAPI.new_plugin (s, "Korro Tarrow", ARDOUR.PluginType.VST3, "")
  assert (not insert:isnil (), "Korro Tarrow VST3 not found")
  assert (fx:add_processor_by_index (insert, 0, nil, true) == 0, "could not insert the plug-in")
  for _, name in ipairs ({ "warm-up", "raw" }) do
    local r = fx:bounce_range (0, input_frames, ARDOUR.InterThreadInfo (), insert, false, prefix .. name, false)
    assert (not r:isnil (), "bounce failed: " .. prefix .. name)
  end
  return fx, insert
end

local function bounce (fx, insert, name)
  local r = fx:bounce_range (0, output_frames, ARDOUR.InterThreadInfo (), insert, true, name, false)
  assert (not r:isnil (), "bounce failed: " .. name)
  say ("bounced", name)
end

local fx, insert = reverb_track ("", 2)
local plugin = insert:to_insert ():plugin (0)
local uid = plugin:get_info ().unique_id
say ("plugin", plugin:name (), uid, plugin:parameter_count ())

-- Ardour names a VST3's program-list entries VST3-P:<class id>:<NNNN>.
for i = 0, 9 do
  local p = plugin:preset_by_uri (string.format ("VST3-P:%s:%04d", uid, i))
  if p then say ("preset", p.uri, p.label) end
end

-- The values Ardour shows for the five parameters.
local function values ()
  local v = {}
  for i = 0, plugin:parameter_count () - 1 do
    v[#v + 1] = string.format ("%.4f", ARDOUR.LuaAPI.get_processor_param (insert, i, true))
  end
  return table.concat (v, " ")
end

bounce (fx, insert, "default")
for _, program in ipairs (programs) do
  local preset = plugin:preset_by_uri (string.format ("VST3-P:%s:%04d", uid, program))
  assert (preset, "no preset " .. program)
  local before = values ()
  assert (plugin:load_preset (preset), "preset not loaded")
  say ("loaded", preset.label)
  -- Ardour learns the program's values from the processor's output changes,
  -- so they reach its controls within a few engine cycles.
  for _ = 1, 20 do
    if values () ~= before then break end
    ARDOUR.LuaAPI.usleep (100000)
  end
  say ("values", values ())
  bounce (fx, insert, "program-" .. program)
end

-- A mono track: Ardour keeps the plug-in's input stereo and feeds it the one channel.
local mono_fx, mono_insert = reverb_track ("mono ", 1)
bounce (mono_fx, mono_insert, "mono")

-- The session saved and opened again: the plug-in's state comes back.
s:save_state ("", false, false, false, false, false)
close_session ()
s = load_session (dir, "render")
assert (s, "session not reopened")
fx = s:route_by_name ("reverb"):to_track ()
insert = fx:nth_plugin (0)
assert (not insert:isnil (), "plug-in lost on reopening")
plugin = insert:to_insert ():plugin (0)
say ("reopened", plugin:name ())
say ("values", values ())
for _, name in ipairs ({ "warm-up again", "raw again" }) do
  assert (not fx:bounce_range (0, input_frames, ARDOUR.InterThreadInfo (), insert, false, name, false):isnil ())
end
bounce (fx, insert, "reopened")
close_session ()
say ("done")
