#pragma once

class QString;
struct Options;

/// Reads the values on the command line. Each operation puts one into the
/// options and gives an empty text, or leaves them and tells in one line what is wrong.
namespace OptionValues {

/// Milliseconds, at least 1.
QString readTimeout(const QString &value, Options &options);
/// A point in time, or a span back from now.
QString readSince(const QString &value, Options &options);
/// The name of a level.
QString readLevel(const QString &value, Options &options);
/// The index of a server. A negative one passes: refusing is for the daemon.
QString readIndex(const QString &value, Options &options);
/// Any path, or "-".
QString readFile(const QString &value, Options &options);
/// Any path.
QString readConfigurationFile(const QString &value, Options &options);

/// Why the options cannot be followed together; else empty.
QString contradictionIn(const Options &options);

} // namespace OptionValues
