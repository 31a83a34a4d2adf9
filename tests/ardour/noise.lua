ardour { ["type"] = "dsp", name = "Korro Test Noise", license = "MIT",
         description = "White noise on one or two channels, the test's input" }

function dsp_ioconfig () return { { audio_in = 2, audio_out = 2 }, { audio_in = 1, audio_out = 1 } } end

local seed = 12345

function dsp_run (ins, outs, n_samples)
  for c = 1, #outs do
    local o = outs[c]:array ()
    for i = 1, n_samples do
      seed = (seed * 1103515245 + 12345) % 2147483648
      o[i] = (seed / 2147483648.0 - 0.5) * 0.5
    end
  end
end
