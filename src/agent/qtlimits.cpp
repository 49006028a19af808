// Limits a function of Qt. It replaces Qt's, because a program's functions precede a library's.

#include <QUrl>

#include <dlfcn.h>

namespace {

constexpr int kMaxDomainSize = 253; // as in DNS

} // namespace

/// Qt calls this with the name in a certificate and with the domain of each cookie, as the server
/// sends them. Its time grows with the square of their length: one reply took hours.
QByteArray QUrl::toAce(const QString &domain)
{
    using Function = QByteArray (*)(const QString &);
    static const auto original =
        reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "_ZN4QUrl5toAceERK7QString"));
    const bool isUsable = original != nullptr && domain.size() <= kMaxDomainSize;
    return isUsable ? original(domain) : QByteArray();
}
