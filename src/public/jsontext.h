#pragma once

#include <QByteArray>
#include <QString>

#include <set>
#include <vector>

class QJsonDocument;

/// What the daemon asks of JSON texts beyond what Qt's parser reports.
namespace JsonText {

/// Whether the document holds nothing: no document at all, `{}` or `[]`. Qt
/// calls only the first of these empty.
bool isEmpty(const QJsonDocument &document);

/// Finds objects with two members of the same name, in a text that may come in
/// pieces. Qt's parser leaks the first of two such members when it is a list or
/// an object, so text from outside is scanned before it is parsed. Time is
/// O(n log n) and memory O(n) in the bytes added, whatever they are.
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
        std::set<QString> names; // ordered: unlike hashes, names cannot be made to collide
    };

    void take(char byte);
    void takeOfString(char byte);
    void endName();
    void open(bool isObject);

    std::vector<Level> m_levels; // the objects and lists that are open
    QByteArray m_string; // the last one, in quotation marks: a name when a colon follows
    bool m_isInString = false;
    bool m_isEscaped = false;
    bool m_isOver = false; // Qt's parser gives up here
    bool m_isFound = false;
};

/// The same for a whole text.
bool hasDuplicateNames(const QByteArray &text);

} // namespace JsonText
