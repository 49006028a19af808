#pragma once

class QString;

/// Words for files that we may not read.
namespace FileAccess {

/// Why the file cannot be read, by the errno of the attempt; where rights are
/// what is missing, also who has them.
QString refusal(const QString &path, int error);

} // namespace FileAccess
