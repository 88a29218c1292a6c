-- Default configuration of the Kivo reference simulator.
-- A file given with -c replaces this one; command-line switches override it.

log = {
    level = 2,        -- lowest level shown: 0 debug, 1 detail, 2 info, 3 notice, 4 warning, 5 error
    time = false,     -- time messages (level 6); -time / -notime
    memory = false,   -- memory messages (level 7); -memory / -nomemory
    console = true,   -- log on stdout; -noconsole
    file = "",        -- also log into this file; -r
}

-- Values of the $LOG, $INPUT and $OUTPUT macros (-l, -i, -o).
-- Empty: the current directory for $LOG and $OUTPUT, the model's directory for $INPUT.
paths = {
    log = "",
    input = "",
    output = "",
}

monitor = {
    server = false,           -- start the monitoring server; -monitor / -nomonitor / -local
    port = 6174,              -- its port (0: any free port)
    localOnly = false,        -- listen on localhost only
    logsThroughServer = true, -- send log messages to clients; -server / -noserver
    wait = -1,                -- ms to wait for a client before loading, 0 no limit, -1 no wait
    connectFile = "",         -- export the server address into this file; -s
}

limits = {
    luaMemoryMB = 512,        -- memory a model script may allocate
}
