// Replaces a function of Qt by one with a limit. The dynamic linker finds the program's function
// before the one in Qt's library.

#include <QUrl>

#include <dlfcn.h>

/// Qt calls this with each host that it looks up, and with the name in a certificate and the domain
/// of each cookie, as the server sends them. Its time grows with the square of their length: one
/// reply took hours. The empty result for a longer name is no host and matches none.
QByteArray QUrl::toAce(const QString &domain)
{
    using Function = QByteArray (*)(const QString &);
    static const auto original =
        reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "_ZN4QUrl5toAceERK7QString"));
    constexpr int maxSize = 253; // as in DNS
    if (domain.size() > maxSize)
        return {};
    return original == nullptr ? domain.toLatin1() : original(domain);
}
