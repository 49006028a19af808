#pragma once

#include <QJsonValue>
#include <QString>
#include <QVariantMap>
#include <QVector>

/// Compares what a configuration file says with what the daemon's own loader
/// makes of it. Pure; any bytes may come in.
namespace ConfCheck {

struct Finding
{
    QString kind; ///< one of a fixed few, for programs
    QString member; ///< of the configuration; empty when the finding is not of one
    QString words;
    QJsonValue value = QJsonValue::Undefined; ///< what the daemon uses, where it is another
};

struct Report
{
    QVariantMap map; ///< as loaded; empty when the daemon would have no configuration
    QVector<Finding> absent; ///< members that take their default, which is normal
    QVector<Finding> faults;
};

Report of(const QByteArray &content);

} // namespace ConfCheck
