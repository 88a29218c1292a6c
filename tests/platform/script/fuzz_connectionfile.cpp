// Fuzz target of the monitor's connection-file reader: a Lua script from
// anywhere, run in the sandbox and read back as the monitor dialog reads it.
//
// Built as a libFuzzer binary with -DKVC_FUZZ=ON and clang; always built as
// a replay program that runs every file of a corpus folder through the same
// function (a CTest test over corpus/connectionfile).

#include "autoluaenv.h"
#include "luaenv.h"
#include "luatable.h"
#include "scriptfile.h"

#include <QStringList>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // The reader takes a file name: each input goes through one file,
    // rewritten for every input.
    static ScriptFiles files;
    const QString fileName = files.write(QStringLiteral("connection.txt"),
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), int(size)));

    // Same sequence as the dialog: fresh environment, three reads that pop.
    AutoLuaEnv env(LuaEnv::AllLibraries);
    QString error;
    if (!env.runScript(fileName, QString(), error)) {
        if (error.isEmpty())
            std::abort(); // a failure must always say why
        return 0;
    }
    const auto option = LuaEnv::PopFromStack;
    const QString ip = env.getGlobal("ip", option).toString();
    const unsigned int port = env.getGlobal("port", option).toUInt();
    const QVariant addressesValue = env.getGlobal("addresses", option);
    LuaTable addresses;
    if (addressesValue.canConvert<LuaTable>())
        addresses = addressesValue.value<LuaTable>();
    const QStringList list = addresses.isNull() ? QStringList() : addresses.toStringList();
    if (env.stackSize() != 0)
        std::abort(); // PopFromStack must leave nothing behind
    // Keeps the conversions from being optimised away.
    volatile size_t sink = size_t(ip.size()) + port + size_t(list.size());
    (void)sink;
    return 0;
}

#ifdef KVC_FUZZ_REPLAY

#include "fuzzreplay.h"

int main(int argc, char *argv[]) { return replayFuzzInputs(argc, argv); }

#endif
