#include "kvcoptions.h"

#include <QDirIterator>
#include <QImage>
#include <QMetaType>
#include <QPair>
#include <QRegularExpression>
#include <QtTest>

using ServerAddress = QPair<QString, unsigned int>;

// What the library registers by merely being loaded.
class KvcResourcesTest : public QObject
{
    Q_OBJECT

private slots:
    void imagesAreEmbedded_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QSize>("size");
        QTest::newRow("add server") << ":/monitor/icons/add.png" << QSize(24, 24);
        QTest::newRow("remove server") << ":/monitor/icons/remove.png" << QSize(24, 24);
        QTest::newRow("logo") << ":/options/icons/kivo_logo_128_transparente.png"
                              << QSize(128, 128);
    }

    void imagesAreEmbedded()
    {
        QFETCH(QString, path);
        QFETCH(QSize, size);
        // Referencing the library keeps it loaded; nothing else is needed.
        KvcOptions options;
        Q_UNUSED(options)
        const QImage image(path);
        QVERIFY2(!image.isNull(), qPrintable(path));
        QCOMPARE(image.size(), size);
        QVERIFY(image.hasAlphaChannel());
        // Transparent corners: the pictures are round.
        QCOMPARE(qAlpha(image.pixel(0, 0)), 0);
    }

    // The dialogs' buttons and logos come from the forms: a path there that
    // names no embedded image leaves them blank.
    void formsNameOnlyEmbeddedImages()
    {
        KvcOptions options;
        Q_UNUSED(options)
        static const QRegularExpression resource(QStringLiteral(":/[\\w/.-]+"));
        QStringList named;
        QStringList missing;
        QDirIterator it(QStringLiteral(KVC_SOURCE_DIR "/src"), {QStringLiteral("*.ui")},
            QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            QFile form(it.next());
            QVERIFY2(form.open(QIODevice::ReadOnly), qPrintable(form.fileName()));
            const QString text = QString::fromUtf8(form.readAll());
            for (auto match = resource.globalMatch(text); match.hasNext();) {
                named << match.next().captured();
                if (QImage(named.last()).isNull())
                    missing << form.fileName() + ": " + named.last();
            }
        }
        QVERIFY(named.contains(":/monitor/icons/add.png"));
        QVERIFY2(missing.isEmpty(), qPrintable(missing.join('\n')));
    }

    void serverAddressPairTravelsInAVariant()
    {
        const int id = QMetaType::type("QPair<QString,uint>");
        QVERIFY(id != QMetaType::UnknownType);
        const QVariant v = QVariant::fromValue(ServerAddress("h", 6174u));
        QCOMPARE(v.userType(), id);
        QCOMPARE(v.value<ServerAddress>().second, 6174u);
    }
};

QTEST_MAIN(KvcResourcesTest)
#include "tst_kvcresources.moc"
