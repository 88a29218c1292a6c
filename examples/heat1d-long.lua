-- heat1d-long.lua: a steel bar heating up slowly, for trying cancel and
-- terminate. About 8 minutes of wall time (10000 steps of 50 ms).

Simulation{
    name = "Slow steel bar",
    description = "Steel bar, 1 m, heated at one end; runs for minutes so it can be cancelled",
    endTime = 100000,
    timeStep = 10,
    wallTimePerStep = 0.05,
}

Mesh{ name = "bar", type = "line", length = 1.0, cells = 100 }
StateVar{ name = "T", unit = "degC", initial = 15 }
PropertySet{ name = "steel", conductivity = 45, density = 7850, heatCapacity = 460 }

BoundaryCondition{ side = "left", type = "flux", value = 5000 }                 -- W/m2 in
BoundaryCondition{ side = "right", type = "convection", h = 10, ambient = 15 }

NumericalSolver{ method = "cg", tolerance = 1e-10 }

SpatialIndex{
    name = "probes",
    points = { { "x = 0.1", x = 0.1 }, { "x = 0.5", x = 0.5 }, { "x = 0.9", x = 0.9 } },
}

MonitorRule{
    name = "bar",
    track = {
        { name = "T.max",   quantity = "max" },
        { name = "T.range", quantity = "minMeanMax" },
        { name = "q.air",   quantity = "heatFlux", side = "right" },
    },
}
MonitorRule{ name = "probes", index = "probes", track = { { name = "T.probe", quantity = "probes" } } }
