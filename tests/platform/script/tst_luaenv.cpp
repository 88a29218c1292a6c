#include "autoluaenv.h"
#include "luatable.h"
#include "scriptfile.h"

#include <QtTest>

class LuaEnvTest : public QObject
{
    Q_OBJECT

private:
    ScriptFiles files;

    // Runs `script` in `env`: empty on success, else the error text. A
    // success that touches the error text, or a failure that gives none, is
    // reported as such.
    QString run(LuaEnv &env, const QByteArray &script, const QString &args = QString())
    {
        QString error = QStringLiteral("untouched");
        if (env.runScript(files.write(script), args, error))
            return error == QLatin1String("untouched") ? QString() : "success set: " + error;
        return error.isEmpty() || error == QLatin1String("untouched") ? "no reason given" : error;
    }

private slots:
    void luaTableIsRegisteredUnderItsName()
    {
        QVERIFY(QMetaType::type("LuaTable") != QMetaType::UnknownType);
        QCOMPARE(QMetaType::type("LuaTable"), qMetaTypeId<LuaTable>());
        QVERIFY(LuaTable().isNull());
        QVERIFY(!LuaTable::emptyTable().isNull());
    }

    void globals_data()
    {
        QTest::addColumn<QByteArray>("script");
        QTest::addColumn<QVariant>("expected");

        QTest::newRow("string") << QByteArray("g = 'localhost'") << QVariant(QString("localhost"));
        QTest::newRow("utf-8 string")
            << QByteArray("g = 'r\xc3\xa9seau'") << QVariant(QString::fromUtf8("r\xc3\xa9seau"));
        QTest::newRow("integer") << QByteArray("g = 6174") << QVariant(qlonglong(6174));
        QTest::newRow("float") << QByteArray("g = 2.5") << QVariant(2.5);
        QTest::newRow("boolean") << QByteArray("g = true") << QVariant(true);
        QTest::newRow("missing global is invalid") << QByteArray("x = 1") << QVariant();
        QTest::newRow("function is invalid") << QByteArray("g = function() end") << QVariant();
        QTest::newRow("integer from math")
            << QByteArray("g = math.max(3, 7)") << QVariant(qlonglong(7));
        QTest::newRow("pattern-free string functions")
            << QByteArray("g = string.upper('ab') .. ('x'):rep(2)") << QVariant(QString("ABxx"));
        QTest::newRow("table library")
            << QByteArray("g = table.concat({'a', 'b'}, ',')") << QVariant(QString("a,b"));
        QTest::newRow("string.rep of empty text ends at once")
            << QByteArray("g = string.rep('', 1 << 53, '')") << QVariant(QString(""));
        QTest::newRow("string.rep with separator still works")
            << QByteArray("g = string.rep('ab', 3, '-')") << QVariant(QString("ab-ab-ab"));
        QTest::newRow("table.move, insert and remove still work")
            << QByteArray("local t = {1, 2, 3} table.insert(t, 1, 0) table.remove(t)"
                          " g = table.concat(table.move(t, 1, 3, 2, {}), ',', 2, 4)")
            << QVariant(QString("0,1,2"));
        QTest::newRow("shebang line skipped")
            << QByteArray("#!/usr/bin/lua\ng = 1") << QVariant(qlonglong(1));
    }

    void globals()
    {
        QFETCH(QByteArray, script);
        QFETCH(QVariant, expected);
        AutoLuaEnv env(LuaEnv::AllLibraries);
        QCOMPARE(run(env, script), QString());
        QCOMPARE(env.getGlobal("g", LuaEnv::PopFromStack), expected);
        QCOMPARE(env.stackSize(), 0);
    }

    void tables_data()
    {
        QTest::addColumn<QByteArray>("script");
        QTest::addColumn<QStringList>("strings");
        QTest::addColumn<int>("count");

        QTest::newRow("strings in order") << QByteArray("t = {'10.0.0.5', 'host.example', '::1'}")
                                          << QStringList {"10.0.0.5", "host.example", "::1"} << 3;
        QTest::newRow("numbers written, other values skipped")
            << QByteArray("t = {'a', 5, true, {}, 2.5, 'b'}") << QStringList {"a", "5", "2.5", "b"}
            << 6;
        QTest::newRow("empty table is not null") << QByteArray("t = {}") << QStringList() << 0;
        QTest::newRow("keyed entries are not listed")
            << QByteArray("t = {'a', x = 'y', [10] = 'z'}") << QStringList {"a"} << 3;
    }

    void tables()
    {
        QFETCH(QByteArray, script);
        QFETCH(QStringList, strings);
        QFETCH(int, count);
        AutoLuaEnv env(LuaEnv::AllLibraries);
        QCOMPARE(run(env, script), QString());
        const QVariant value = env.getGlobal("t", LuaEnv::PopFromStack);
        QVERIFY(value.canConvert<LuaTable>());
        const LuaTable table = value.value<LuaTable>();
        QVERIFY(!table.isNull());
        QCOMPARE(table.toStringList(), strings);
        QCOMPARE(table.count(), count);
    }

    void tableValuesAndNesting()
    {
        AutoLuaEnv env(LuaEnv::AllLibraries);
        QCOMPARE(run(env, "t = {'a', port = 7, sub = {1, 2}}"), QString());
        const LuaTable table = env.getGlobal("t", LuaEnv::PopFromStack).value<LuaTable>();
        QCOMPARE(table.value(1), QVariant(QString("a")));
        QCOMPARE(table.value(QString("port")), QVariant(qlonglong(7)));
        QVERIFY(!table.value(QString("none")).isValid());
        const LuaTable sub = table.value(QString("sub")).value<LuaTable>();
        QCOMPARE(sub.toStringList(), (QStringList {"1", "2"}));
    }

    void cyclicTableIsReadWithinBounds()
    {
        AutoLuaEnv env(LuaEnv::AllLibraries);
        QCOMPARE(run(env, "t = {} t.a = t t.b = t t[1] = t"), QString());
        LuaTable table = env.getGlobal("t", LuaEnv::PopFromStack).value<LuaTable>();
        QVERIFY(!table.isNull());
        // The copy is cut off in depth (and in size) instead of following the cycle.
        int depth = 0;
        while (table.value(1).canConvert<LuaTable>()) {
            table = table.value(1).value<LuaTable>();
            ++depth;
        }
        QVERIFY(depth > 0);
        QVERIFY(depth <= 32);
    }

    void stringIsNotATable()
    {
        AutoLuaEnv env(LuaEnv::AllLibraries);
        QCOMPARE(run(env, "t = 'a string'"), QString());
        const QVariant value = env.getGlobal("t", LuaEnv::PopFromStack);
        QVERIFY(!value.canConvert<LuaTable>());
        QVERIFY(value.value<LuaTable>().isNull());
    }

    void argumentReachesTheScriptAsVararg()
    {
        {
            AutoLuaEnv env(LuaEnv::AllLibraries);
            QCOMPARE(run(env, "a, b = ...", QStringLiteral("hello")), QString());
            QCOMPARE(env.getGlobal("a", LuaEnv::PopFromStack), QVariant(QString("hello")));
            QVERIFY(!env.getGlobal("b", LuaEnv::PopFromStack).isValid());
        }
        AutoLuaEnv env(LuaEnv::AllLibraries);
        QCOMPARE(run(env, "a, b = ..."), QString());
        QVERIFY(!env.getGlobal("a", LuaEnv::PopFromStack).isValid());
    }

    void keepOnStackKeepsValuesUntilPopped()
    {
        AutoLuaEnv env(LuaEnv::AllLibraries);
        QCOMPARE(run(env, "a = 1 b = 'x'"), QString());
        QCOMPARE(env.getGlobal("a", LuaEnv::KeepOnStack), QVariant(qlonglong(1)));
        QCOMPARE(env.getGlobal("b", LuaEnv::KeepOnStack), QVariant(QString("x")));
        QCOMPARE(env.stackSize(), 2);
        env.popValues(5);
        QCOMPARE(env.stackSize(), 0);
        QCOMPARE(env.getGlobal("a", LuaEnv::PopFromStack), QVariant(qlonglong(1)));
        QCOMPARE(env.stackSize(), 0);
    }

    void librariesFollowTheMask()
    {
        AutoLuaEnv env(LuaEnv::BaseLibrary | LuaEnv::MathLibrary);
        QCOMPARE(run(env, "t = type(table) m = type(math) s = type(string)"), QString());
        QCOMPARE(env.getGlobal("t", LuaEnv::PopFromStack), QVariant(QString("nil")));
        QCOMPARE(env.getGlobal("m", LuaEnv::PopFromStack), QVariant(QString("table")));
        QCOMPARE(env.getGlobal("s", LuaEnv::PopFromStack), QVariant(QString("nil")));
    }

    void globalsMetatableIsNotRun()
    {
        AutoLuaEnv env(LuaEnv::AllLibraries);
        QCOMPARE(
            run(env, "setmetatable(_G, {__index = function() while true do end end})"), QString());
        QVERIFY(!env.getGlobal("missing", LuaEnv::PopFromStack).isValid());
    }

    void hostileScripts_data()
    {
        QTest::addColumn<QByteArray>("script");
        QTest::addColumn<QString>("errorPart");
        auto row = [](const char *name, const QByteArray &script, const char *errorPart) {
            QTest::newRow(name) << script << QString::fromLatin1(errorPart);
        };
        const char *const time = "script ran longer than 1 s";
        const char *const memory = "script exceeded 16 MiB of memory";
        const QByteArray hugeLength = "setmetatable({}, {__len = function() return 1 << 53 end})";

        row("endless loop", "while true do end", time);
        row("endless loop that catches errors",
            "while true do pcall(function() while true do end end) end", time);
        row("endless tail recursion", "local function f() return f() end f()", time);
        row("memory bomb by doubling", "local s = 'x' while true do s = s .. s end", memory);
        row("memory bomb by table",
            "local t = {} local i = 0 while true do i = i + 1 t[i] = {i} end", memory);
        // Each block small, so only the running total can reach the limit.
        row("memory bomb of small blocks", "local list while true do list = {next = list} end",
            memory);
        row("one huge allocation", "local s = string.rep('x', 1 << 30)", memory);
        row("os.execute", "os.execute('touch /tmp/pwned')", "global 'os'");
        row("io.open", "io.open('/etc/passwd')", "global 'io'");
        row("require", "require('os')", "global 'require'");
        row("load", "load('\\27Lua')()", "global 'load'");
        row("dofile", "dofile('/etc/passwd')", "global 'dofile'");
        row("debug library", "debug.sethook()", "global 'debug'");
        row("string patterns", "string.find('a', 'a')", "field 'find'");
        row("string.dump", "string.dump(print)", "field 'dump'");
        row("binary chunk", QByteArray("\x1bLuaT\x00\x19\x93\r\n\x1a\n", 12),
            "binary chunks are not accepted");
        row("syntax error", "port = = 5", "syntax error");
        row("runtime error names the line", "\n\nerror('boom')", ":3: boom");
        row("table.move over a range no table can hold", "table.move({}, 1, 1 << 53, 1)",
            "range too large");
        row("table.move from a negative index", "table.move({}, math.mininteger, -1, 1)",
            "range too large");
        row("table.move repeated until the time is up",
            "while true do table.move({}, 1, 1000000, 2) end", time);
        row("table.remove under a huge __len", "table.remove(" + hugeLength + ", 1)",
            "table too long to shift");
        row("table.insert under a huge __len", "table.insert(" + hugeLength + ", 1, 0)",
            "table too long to shift");
        row("empty error text is replaced", "error('', 0)", "script raised an empty error");
        row("error value that is not text", "error({})", "not a text (a table value)");
    }

    void hostileScripts()
    {
        QFETCH(QByteArray, script);
        QFETCH(QString, errorPart);
        AutoLuaEnv env(LuaEnv::AllLibraries);
        const QString error = run(env, script);
        QVERIFY2(error.contains(errorPart), qPrintable(error));

        // The same environment stays usable after the failure.
        QCOMPARE(run(env, "ok = 1"), QString());
        QCOMPARE(env.getGlobal("ok", LuaEnv::PopFromStack), QVariant(qlonglong(1)));
    }

    void hugeErrorTextIsCut()
    {
        AutoLuaEnv env(LuaEnv::AllLibraries);
        const QString error = run(env, "error(string.rep('x', 1 << 20), 0)");
        QVERIFY(error.startsWith("xxx"));
        QVERIFY2(error.size() < 2000, qPrintable(QString::number(error.size())));
    }

    void repeatedBigStringIsCopiedWithinBounds()
    {
        // 1000 references to one 6 MiB string would be 1000 copies of it.
        AutoLuaEnv env(LuaEnv::AllLibraries);
        QCOMPARE(
            run(env, "local s = string.rep('x', 6 << 20) t = {} for i = 1, 1000 do t[i] = s end"),
            QString());
        const LuaTable table = env.getGlobal("t", LuaEnv::PopFromStack).value<LuaTable>();
        const QStringList list = table.toStringList();
        QCOMPARE(list.size(), 2);
        QCOMPARE(list.first().size(), 6 << 20);
    }

    void missingFileIsAnError()
    {
        AutoLuaEnv env(LuaEnv::AllLibraries);
        QString error;
        QVERIFY(!env.runScript(files.filePath("nothing-here.txt"), QString(), error));
        QVERIFY2(
            error.contains("cannot open") && error.contains("nothing-here.txt"), qPrintable(error));
    }

    void refusedAllocationCanBeCaught()
    {
        AutoLuaEnv env(LuaEnv::AllLibraries);
        QCOMPARE(run(env, "ok = pcall(string.rep, 'x', 64 * 1024 * 1024)"), QString());
        QCOMPARE(env.getGlobal("ok", LuaEnv::PopFromStack), QVariant(false));
    }

    void finalizersAreRefused()
    {
        // Lua runs finalizers without hooks: one that loops could not be stopped.
        AutoLuaEnv env(LuaEnv::AllLibraries);
        const QString error
            = run(env, "setmetatable({}, {__gc = function() while true do end end}) done = 1");
        QVERIFY2(error.contains("finalizers (__gc) are not allowed"), qPrintable(error));
        QVERIFY(!env.getGlobal("done", LuaEnv::PopFromStack).isValid());
        // Metatables without a finalizer still work.
        QCOMPARE(run(env, "t = setmetatable({}, {__index = function() return 4 end}) v = t.x"),
            QString());
        QCOMPARE(env.getGlobal("v", LuaEnv::PopFromStack), QVariant(qlonglong(4)));
    }
};

QTEST_GUILESS_MAIN(LuaEnvTest)
#include "tst_luaenv.moc"
