-- heat1d-fast.lua: the heated rod in a few milliseconds, for tests.

Simulation{
    name = "Fast rod",
    description = "Small copper rod, no pacing",
    endTime = 200,
    timeStep = 5,
}

Mesh{ name = "rod", type = "line", length = 0.2, cells = 20 }
StateVar{ name = "T", unit = "degC", initial = 20 }
PropertySet{ name = "copper", conductivity = 400, density = 8960, heatCapacity = 385 }

BoundaryCondition{ side = "left", type = "temperature", value = 100 }
BoundaryCondition{ side = "right", type = "convection", h = 50, ambient = 20 }

NumericalSolver{ method = "cg", tolerance = 1e-12 }

SpatialIndex{ name = "probes", points = { { "left", x = 0.02 }, { "right", x = 0.18 } } }

MonitorRule{
    name = "rod",
    track = {
        { name = "T.max",   quantity = "max" },
        { name = "T.range", quantity = "minMeanMax" },
        { name = "q.left",  quantity = "heatFlux", side = "left" },
    },
}
MonitorRule{ name = "probes", index = "probes", track = { { name = "T.probe", quantity = "probes" } } }
