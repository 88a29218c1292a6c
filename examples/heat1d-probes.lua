-- heat1d-probes.lua: the heated rod with 24 thermocouples along it, for
-- watching many series on one chart (about 20 s of wall time).

Simulation{
    name = "Rod with 24 probes",
    description = "Aluminium rod, 0.6 m, a heater pulsing at the left end",
    endTime = 4000,
    timeStep = 2,
    wallTimePerStep = 0.01,
}

Mesh{ name = "rod", type = "line", length = 0.6, cells = 120 }
StateVar{ name = "T", unit = "degC", initial = 20 }
PropertySet{ name = "aluminium", conductivity = 205, density = 2700, heatCapacity = 900 }

-- A heater switched on and off every five minutes.
BoundaryCondition{ side = "left", type = "temperature",
                   value = function(t) return (math.floor(t / 300) % 2 == 0) and 180 or 40 end }
BoundaryCondition{ side = "right", type = "convection", h = 25, ambient = 20 }

NumericalSolver{ method = "cg", tolerance = 1e-10 }

local points = {}
for i = 1, 24 do
    points[i] = { string.format("x = %.3f", 0.025 * i - 0.0125), x = 0.025 * i - 0.0125 }
end
SpatialIndex{ name = "thermocouples", points = points }

MonitorRule{ name = "probes", index = "thermocouples",
             track = { { name = "T", quantity = "probes" } } }
