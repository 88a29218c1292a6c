-- endless-loading.lua: a model whose script never returns, so the simulator
-- stays in its loading phase until it is stopped or killed. The loop gives
-- the interpreter's hook its chance to honour a stop request.

Simulation{
    name = "Endless loading",
    description = "Never gets past loading",
    endTime = 10,
    timeStep = 1,
}

while true do
end
