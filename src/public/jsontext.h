#pragma once

#include <QByteArray>
#include <QString>

#include <set>
#include <vector>

class QJsonDocument;

/// Checks of JSON texts that Qt's parser does not make.
namespace JsonText {

/// Whether there is no document, or it is `{}` or `[]`. QJsonDocument::isEmpty() is
/// true only for the first.
bool isEmpty(const QJsonDocument &document);

/// Why the text is not JSON, after the line and the column; empty if it is.
QByteArray faultIn(const QByteArray &text);

/// Finds objects with two members of the same name, in a text that may arrive in
/// pieces. Qt's parser leaks the first of these members if it is a list or an
/// object, so the daemon scans text from outside before it parses it. Time is
/// O(n log n) and memory O(n) in the bytes added, for any input.
class DuplicateNames
{
public:
    /// Scans the next bytes of the text, which need not be valid JSON. Returns
    /// true once an object has two members of the same name.
    bool add(const QByteArray &piece);

private:
    struct Level
    {
        bool isObject;
        std::set<QString> names; // not a hash table: nobody can provoke collisions
    };

    void take(char byte);
    void takeOfString(char byte);
    void endName();

    std::vector<Level> m_levels; // the objects and lists that are open
    QByteArray m_string; // the last string, in quotation marks; a name if a colon follows
    bool m_isInString = false;
    bool m_isEscaped = false;
    bool m_isOver = false; // Qt's parser rejects the text here, so the rest does not matter
    bool m_isFound = false;
};

} // namespace JsonText
