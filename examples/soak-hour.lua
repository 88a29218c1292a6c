-- soak-hour.lua: one hour of simulated time at ten samples a second, for the
-- soak benchmark (bench/bench_soak) and for watching memory over a long run.
--
-- A 0.5 m steel bar with a heater that warms up and cycles, cooled by air at the
-- other end; 20 thermocouples along it. Every step reports 36 tracked values
-- (the simulator's three, 6 of the bar, 2 heat flows, 20 probes and a 5 x 1
-- script value) and the model prints one log line per simulated second:
-- 36 001 samples of every value, 1.3 M component values, 3 600 log lines.
--
-- Accelerated: each 0.1 s step lasts 10 ms of wall time, so the hour runs in
-- about 6 minutes. Everything can be changed with -u, e.g.
--
--     kivo examples/soak-hour.lua -u "hours=0.1;pace=0.002"
--
-- hours (simulated, default 1), step (simulated seconds per step, default
-- 0.1), pace (wall seconds per step, default 0.01; 0: as fast as possible),
-- logEvery (simulated seconds between log lines, default 1).

local hours = params.hours or 1
local step = params.step or 0.1
local pace = params.pace or 0.01
local logEvery = math.max(1, math.floor((params.logEvery or 1) / step + 0.5))  -- in steps

Simulation{
    name = "Soak hour",
    description = string.format("Steel bar, 0.5 m: %g h simulated in steps of %g s, %g s of wall "
                                .. "time per step", hours, step, pace),
    endTime = hours * 3600,
    timeStep = step,
    wallTimePerStep = pace,
}

Mesh{ name = "bar", type = "line", length = 0.5, cells = 100 }

StateVar{ name = "T", unit = "degC", initial = 20 }

PropertySet{ name = "steel", conductivity = 45, density = 7850, heatCapacity = 460 }

-- The heater comes up over ten minutes, then cycles every five, so the values
-- keep changing for the whole hour.
BoundaryCondition{ side = "left", type = "temperature",
                   value = function(t)
                       return 20 + 160 * (1 - math.exp(-t / 600)) + 15 * math.sin(t * math.pi / 150)
                   end }
BoundaryCondition{ side = "right", type = "convection", h = 15, ambient = 20 }

NumericalSolver{ method = "cg", tolerance = 1e-10, maxIterations = 500 }

local points = {}
for i = 1, 20 do
    points[i] = { string.format("TC%02d", i), x = (i - 0.5) / 40 }
end
SpatialIndex{ name = "thermocouples", points = points }

MonitorRule{
    name = "bar temperature",
    track = {
        { name = "T.max",   quantity = "max" },
        { name = "T.min",   quantity = "min" },
        { name = "T.mean",  quantity = "mean" },
        { name = "T.range", quantity = "minMeanMax" },
    },
}

MonitorRule{
    name = "heat flow",
    track = {
        { name = "q.heater", quantity = "heatFlux", side = "left" },
        { name = "q.air",    quantity = "heatFlux", side = "right" },
    },
}

MonitorRule{
    name = "thermocouples",
    index = "thermocouples",
    track = { { name = "T.probe", quantity = "probes" } },
}

MonitorRule{
    name = "derived",
    track = { { name = "T.drop", quantity = "script", rows = 5, cols = 1, unit = "K" } },
}

-- Temperature drop over each fifth of the bar, and the progress line.
ProcessScript(function(state)
    local T, n, d = state.T, #state.T, {}
    for i = 1, 5 do
        d[i] = T[(i - 1) * (n - 1) // 5 + 1] - T[i * (n - 1) // 5 + 1]
    end
    if state.step % logEvery == 0 then
        print(string.format("t = %.1f s: T %.2f .. %.2f degC", state.time, T[n], T[1]))
    end
    return { ["T.drop"] = d }
end)
