-- heat1d.lua: an aluminium rod warmed at one end.
--
-- The left end sits on a heater that ramps up from 20 to 200 degC during the
-- first five minutes; the right end loses heat to the room air. The rod starts
-- at room temperature and heats up towards its steady state. Run it with
--
--     kivo examples/heat1d.lua
--
-- It takes about 12 s of wall time (600 steps, paced at 20 ms each).

Simulation{
    name = "Heated rod",
    description = "Aluminium rod, 0.5 m: heater at the left end, room air at the right end",
    endTime = 3000,         -- simulated seconds
    timeStep = 5,           -- seconds per implicit Euler step
    wallTimePerStep = 0.02, -- each step lasts at least 20 ms so that it can be watched
}

Mesh{ name = "rod", type = "line", length = 0.5, cells = 50 }   -- metres

StateVar{ name = "T", unit = "degC", initial = 20 }

PropertySet{
    name = "aluminium",
    conductivity = 205,     -- W/(m K)
    density = 2700,         -- kg/m3
    heatCapacity = 900,     -- J/(kg K)
}

-- A value may be a function of the simulated time t (seconds).
BoundaryCondition{ side = "left", type = "temperature",
                   value = function(t) return 20 + 180 * math.min(1, t / 300) end }
BoundaryCondition{ side = "right", type = "convection", h = 25, ambient = 20 }

PhysicalMethod{ type = "heatConduction", timeScheme = "implicitEuler" }
NumericalSolver{ method = "cg", tolerance = 1e-10, maxIterations = 500 }

-- Named probe points: thermocouples along the rod (x in metres).
SpatialIndex{
    name = "thermocouples",
    points = {
        { "near heater", x = 0.05 },
        { "middle",      x = 0.25 },
        { "far end",     x = 0.45 },
    },
}

-- What the simulation reports at each step. After these rules the simulator
-- adds its own, "solver": "time", "fem.iteration" and "fem.error".
MonitorRule{
    name = "rod temperature",
    track = {
        { name = "T.max",   quantity = "max" },
        { name = "T.mean",  quantity = "mean" },
        { name = "T.range", quantity = "minMeanMax" },  -- a 3 x 1 vector: min, mean, max
    },
}

MonitorRule{
    name = "heat flow",
    track = {
        { name = "q.heater", quantity = "heatFlux", side = "left" },   -- W/m2 into the rod
        { name = "q.air",    quantity = "heatFlux", side = "right" },  -- negative: heat leaves
    },
}

MonitorRule{
    name = "thermocouples",
    index = "thermocouples",  -- one line per probe, labelled with its name
    track = { { name = "T.probe", quantity = "probes" } },
}

MonitorRule{
    name = "derived",
    track = { { name = "T.drop", quantity = "script", unit = "K" } },
}

-- Runs every 10 steps; returns values for the "script" quantities above.
ProcessScript{
    every = 10,
    run = function(state)
        local T = state.T
        return { ["T.drop"] = T[1] - T[#T] }
    end,
}

-- The temperature profile at the end, as CSV (x,T) in the output directory (-o).
SaveRule{ var = "T", every = 600, file = "$OUTPUT/heat1d_T_%d.csv" }
