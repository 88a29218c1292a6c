-- bench-flood.lua: a flood of samples for the end-to-end benchmark.
--
-- No pacing and a ten-cell rod, so the simulator reports as fast as it can:
-- 200 000 steps of 50 tracked values each (scalars, a 3 x 1 vector, 20
-- probes, a 10 x 1 script value and the simulator's own three). Used by
-- bench/bench_endtoend; run it alone with
--
--     kivo examples/bench-flood.lua -noconsole
--
-- It takes a few seconds of wall time, depending on the machine.

Simulation{
    name = "Sample flood",
    description = "Small steel rod without pacing: 200 000 steps of 50 values",
    endTime = 200000,       -- simulated seconds
    timeStep = 1,           -- one step per simulated second: 200 000 steps
    wallTimePerStep = 0,    -- no pacing: as fast as the machine goes
}

Mesh{ name = "rod", type = "line", length = 0.1, cells = 10 }

StateVar{ name = "T", unit = "degC", initial = 20 }

PropertySet{ name = "steel", conductivity = 50, density = 7850, heatCapacity = 490 }

-- Oscillating heater, so the values keep changing over the whole run.
BoundaryCondition{ side = "left", type = "temperature",
                   value = function(t) return 60 + 40 * math.sin(t / 500) end }
BoundaryCondition{ side = "right", type = "convection", h = 25, ambient = 20 }

NumericalSolver{ method = "cg", tolerance = 1e-10, maxIterations = 100 }

SpatialIndex{
    name = "probes",
    points = {
        { "p01", x = 0.000 }, { "p02", x = 0.005 }, { "p03", x = 0.010 }, { "p04", x = 0.015 },
        { "p05", x = 0.020 }, { "p06", x = 0.025 }, { "p07", x = 0.030 }, { "p08", x = 0.035 },
        { "p09", x = 0.040 }, { "p10", x = 0.045 }, { "p11", x = 0.050 }, { "p12", x = 0.055 },
        { "p13", x = 0.060 }, { "p14", x = 0.065 }, { "p15", x = 0.070 }, { "p16", x = 0.075 },
        { "p17", x = 0.080 }, { "p18", x = 0.085 }, { "p19", x = 0.090 }, { "p20", x = 0.100 },
    },
}

-- 9 + 3 + 2 + 20 + 3 + 10 + 3 (solver) = 50 values per step.
MonitorRule{
    name = "temperature",
    track = {
        { name = "T.max",   quantity = "max" },
        { name = "T.min",   quantity = "min" },
        { name = "T.mean",  quantity = "mean" },
        { name = "T.max2",  quantity = "max" },
        { name = "T.min2",  quantity = "min" },
        { name = "T.mean2", quantity = "mean" },
        { name = "T.max3",  quantity = "max" },
        { name = "T.min3",  quantity = "min" },
        { name = "T.mean3", quantity = "mean" },
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
    name = "probes",
    index = "probes",
    track = { { name = "T.probe", quantity = "probes" } },
}

MonitorRule{
    name = "more",
    track = {
        { name = "T.top",    quantity = "max" },
        { name = "T.bottom", quantity = "min" },
        { name = "T.avg",    quantity = "mean" },
        { name = "T.steps",  quantity = "script", rows = 10, cols = 1, unit = "K" },
    },
}

-- Ten differences along the rod, every 100 steps: the script is not what is
-- measured, so it runs rarely.
ProcessScript{
    every = 100,
    run = function(state)
        local T, d = state.T, {}
        for i = 1, 10 do d[i] = T[i + 1] - T[i] end
        return { ["T.steps"] = d }
    end,
}
