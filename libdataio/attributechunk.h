#pragma once

#include <libdataio/export.h>

#include <QString>

#include <cstddef>
#include <cstdint>
#include <map>

namespace zd {

/// One header value, held as text whatever its kind.
class DATAIO_EXPORT Attribute {
public:
    Attribute() = default;

    void assign(int value);     ///< decimal, base 10
    void assign(char value);    ///< one character: the Latin-1 code
    void assign(float value);   ///< exponent form, six digits after the point: 1.500000e+00
    void assign(QString value); ///< the text itself

    const QString& text() const { return m_text; }

    /// Converts the text. False, with 0 written to `out`, when it is no number of that kind.
    bool read(int& out) const;
    bool read(float& out) const;
    /// False, with `out` untouched, unless the text is exactly one character; 0 for one above U+00FF.
    bool read(char& out) const;

private:
    QString m_text;
};

/// The named header values of a movie, in order of name (by UTF-16 code unit).
///
/// Its text form has one line per attribute: the name, "=", the value and a line feed. Only text that keeps
/// to these rules reads back as written: a name holds no "=" or line break and begins neither with "#" nor
/// with white space; a value is not empty, holds no line break and neither begins nor ends with white space.
/// Free text goes through `formatComment` first. A copyable value; not locked.
class DATAIO_EXPORT AttributeChunk {
public:
    using Map = std::map<QString, Attribute>;

    AttributeChunk() = default;
    AttributeChunk(const AttributeChunk&) = default;
    AttributeChunk& operator=(const AttributeChunk& other);
    virtual ~AttributeChunk();

    /// Stores a value under `name`, replacing any earlier value of any kind.
    void set(const QString& name, int value);
    void set(const QString& name, char value);
    void set(const QString& name, float value);
    void set(const QString& name, const QString& value);

    /// Looks a value up. An absent name gives false and leaves `out` alone. A present text that is no number of
    /// that kind gives false and writes 0. Numbers outside the kind's range count as no number; "nan" and
    /// "inf" are floats.
    bool get(const QString& name, int& out) const;
    bool get(const QString& name, float& out) const;
    /// False, with `out` untouched, unless the text is exactly one character; 0 for one above U+00FF.
    bool get(const QString& name, char& out) const;
    bool get(const QString& name, QString& out) const;

    /// Removes a name; returns how many were removed, 0 or 1.
    int erase(const QString& name);
    void clear();
    /// Stores every entry of `other` here, replacing values of the same name. Merging with itself is harmless.
    void merge(const AttributeChunk& other);

    /// Reads the text form: adds and replaces, never removes. Lines are trimmed; empty lines, lines that begin
    /// with "#", and lines without a name or a value are skipped.
    void parse(const QString& text);
    /// The same from Latin-1 bytes, without a decoded copy of the whole text. `data` may be null when `size` is 0.
    void parseLatin1(const char* data, std::size_t size);
    /// Appends the text form to `out`.
    void dump(QString& out) const;
    /// Prints the entries to standard output, in the local 8-bit encoding, unescaped.
    void dumpDebug() const;

    /// Makes free text safe for one attribute line: BEL (U+0007) becomes a blank, then line feeds become BEL.
    static QString formatComment(const QString& text);

    /// Direct access to the entries.
    Map& attributes();
    const Map& attributes() const { return m_attributes; }
    Map::iterator attrBegin();
    Map::iterator attrEnd();
    Map::const_iterator attrBegin() const { return m_attributes.begin(); }
    Map::const_iterator attrEnd() const { return m_attributes.end(); }

    /// A number that grows with every call that may have changed an entry, for callers that keep something
    /// derived from them. Changes through a reference or iterator kept from an earlier call are not seen.
    std::uint64_t revision() const { return m_revision; }
    /// Whether nothing can have changed since `revision` gave that number, such references and iterators included.
    bool unchangedSince(std::uint64_t earlier) const { return earlier == m_revision && !m_handedOut; }

protected:
    /// Characters of the text form.
    std::size_t textLength() const;
    /// Writes the text form in Latin-1, `textLength()` bytes, to `out`; characters above U+00FF become "?".
    void writeText(char* out) const;

private:
    DATAIO_HIDDEN Map& _changing();

    Map m_attributes;
    std::uint64_t m_revision = 0;
    bool m_handedOut = false; // the entries can be changed from outside
};

} // namespace zd
