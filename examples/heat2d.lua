-- heat2d.lua: a square copper plate, hot along its left edge, cooled by air
-- on top, insulated elsewhere. About 8 s of wall time.

Simulation{
    name = "Copper plate",
    description = "0.2 m x 0.2 m copper plate: hot left edge, air-cooled top",
    endTime = 400,
    timeStep = 2,
    wallTimePerStep = 0.04,
}

Mesh{ name = "plate", type = "rectangle", width = 0.2, height = 0.2, cellsX = 20, cellsY = 20 }
StateVar{ name = "T", unit = "degC", initial = 20 }
PropertySet{ name = "copper", conductivity = 400, density = 8960, heatCapacity = 385 }

BoundaryCondition{ side = "left", type = "temperature", value = 150 }
BoundaryCondition{ side = "top", type = "convection", h = 40, ambient = 20 }
-- right and bottom: no condition means insulated

SpatialIndex{
    name = "probes",
    points = {
        { "centre",       x = 0.10, y = 0.10 },
        { "top right",    x = 0.19, y = 0.19 },
        { "bottom right", x = 0.19, y = 0.01 },
    },
}

MonitorRule{
    name = "plate",
    track = {
        { name = "T.range", quantity = "minMeanMax" },
        { name = "q.left",  quantity = "heatFlux", side = "left" },
        { name = "q.top",   quantity = "heatFlux", side = "top" },
    },
}
MonitorRule{ name = "probes", index = "probes", track = { { name = "T.probe", quantity = "probes" } } }
