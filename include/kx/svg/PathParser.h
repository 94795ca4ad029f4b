// PathParser.h - the path-data ("d" attribute) parser.
#ifndef KX_SVG_PATHPARSER_H
#define KX_SVG_PATHPARSER_H

#include <kx/svg/Export.h>
#include <kx/svg/Items.h>

#include <cstdint>
#include <functional>
#include <list>
#include <string>
#include <vector>

namespace kx {
namespace svg {

/// A recursive-descent scanner over path data. For every complete command it
/// calls the token callback once with the command letter and all the numbers
/// that followed it (arc flags as 1.0 or 0.0).
///
/// The grammar is deliberately stricter than SVG's: only space and line feed
/// are white space (tab and carriage return are not), arc flags must be
/// separated ("A 5 5 0 1 1 9 9", never "A 5 5 0 11 9 9"), and groups of one
/// command are separated by white space only ("L 1 2, 3 4" fails at the comma).
/// Only M, L, H, V, C, S, A and Z (and their lower-case forms) exist.
///
/// The text is decoded as UTF-8 as it is read: a malformed sequence reached by
/// the scanner throws utf8::invalid_utf8, utf8::not_enough_room or
/// utf8::invalid_code_point out of `visit()`.
class KXSVG_API PathVisitorStrToTokens {
public:
    using TokenCallback = std::function<void(char, std::vector<float>&&)>;

    /// Result of a grammar rule.
    enum Result : int {
        NoMatch = 0, ///< nothing that matters was consumed; the caller may try something else
        Error = 1,   ///< the text is malformed here
        Matched = 2
    };

    /// Copies `text` (the scanner never refers to the caller's string) and `callback`.
    PathVisitorStrToTokens(const std::string& text, const TokenCallback& callback);
    /// Scans [first, last) where it lies, without a copy: the caller keeps
    /// that text alive and unchanged for the scanner's lifetime. Error
    /// positions count from `first`.
    PathVisitorStrToTokens(const char* first, const char* last, const TokenCallback& callback);
    virtual ~PathVisitorStrToTokens();

    PathVisitorStrToTokens(const PathVisitorStrToTokens&) = delete;
    PathVisitorStrToTokens& operator=(const PathVisitorStrToTokens&) = delete;

    /// Runs the grammar over the whole text; true when all of it is valid path data.
    /// An empty or all-white-space text is valid and yields nothing.
    bool visit();
    /// The message of the failure, with a byte position from the start of the text.
    /// May be empty even after a failure ("M 0 0 L": a letter without numbers).
    const std::string& getErrorString() const { return m_error; }

protected:
    using Cursor = const char*;

    Result consumeSvgPath(Cursor& cursor);
    Result consumeMoveToDrawToCommandGroup(Cursor& cursor, bool first);
    Result consumeDrawToCommand(Cursor& cursor);
    /// One letter out of `letters`, then one or more groups of `n` numbers.
    Result consumeCommandWithFloatSequence(Cursor& cursor, const std::string& letters, unsigned n);
    Result consumeEllipticalArcSequence(Cursor& cursor);
    /// Appends one group of `n` numbers to `out`; on failure `out` is restored.
    Result consumeCoordinateSequence(Cursor& cursor, std::vector<float>& out, unsigned n);
    Result consumeCoordinate(Cursor& cursor, float& value);
    Result consumeFlag(Cursor& cursor, bool& flag);
    Result consumeSeparator(Cursor& cursor);
    Result consumeAnyWhiteSpace(Cursor& cursor);
    Result consumeClosePath(Cursor& cursor);

    Cursor getBegin() const { return m_begin; }
    Cursor getEnd() const { return m_end; }

private:
    /// The code point at `cursor` (< end); throws on malformed UTF-8.
    uint32_t peek(Cursor cursor) const;
    std::string positionText(Cursor cursor) const;

    std::string m_text;
    Cursor m_begin;
    Cursor m_end;
    TokenCallback m_callback;
    std::string m_error;
    Cursor m_cursor;
    std::vector<float> m_numbers; ///< numbers of the current command; its storage serves every command
};

/// Turns the tokens into `Path::Command` records appended at the back of a
/// caller-owned list (which is not cleared first). A letter followed by several
/// groups makes one command per group; the groups after the first of an "M"
/// or "m" become "L" or "l" (implicit line-to).
class KXSVG_API PathVisitorStrToCommands : public PathVisitorStrToTokens {
public:
    PathVisitorStrToCommands(const std::string& text, std::list<Path::Command>& commands);
    /// Over [first, last) without a copy: the text must outlive the visitor.
    PathVisitorStrToCommands(const char* first, const char* last, std::list<Path::Command>& commands);
    ~PathVisitorStrToCommands() override;

    void visitorCallback(char letter, std::vector<float>&& numbers);

private:
    std::list<Path::Command>* m_commands;
};

/// Parses `text` and appends its commands to `commands`. Returns false on
/// malformed text, storing the message in `*error` when `error` is not null;
/// the commands appended before the fault stay in the list. Malformed UTF-8
/// throws the utf8 library's exception out of this function.
KXSVG_API bool ConvertPathStringToCommands(const std::string& text, std::list<Path::Command>& commands,
                                           std::string* error);

} // namespace svg
} // namespace kx

#endif
