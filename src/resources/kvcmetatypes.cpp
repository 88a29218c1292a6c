// Registrations that have to be in place as soon as the library is loaded.

#include <QMetaType>
#include <QPair>
#include <QString>

namespace {

// A saved server of the connection dialog (host, port) travels in a QVariant.
const int serverPairTypeId = qRegisterMetaType<QPair<QString, unsigned int>>();

} // namespace
