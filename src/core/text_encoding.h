// Text as mail and the message bus carry it: UTF-8, and UTF-8 dressed as plain ASCII.
#pragma once

#include <string>
#include <string_view>

namespace vantry {

// Whether the bytes are well-formed UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
bool IsUtf8(std::string_view bytes);

// The bytes themselves if they are well-formed UTF-8, otherwise each byte read as a character of Windows-1252. The
// five bytes without a character there become U+FFFD.
std::string ToUtf8(std::string_view bytes);

// The text as the message bus takes it, UTF-8 without NUL bytes: characters that are well-formed UTF-8 stay, each other
// byte is taken as one of Windows-1252. Unlike above, one odd byte does not change how the rest of a long text reads.
// The 66 codes that Unicode keeps free of characters become U+FFFD: some programs throw out a message that has one.
std::string RepairUtf8(std::string bytes);

// As ToUtf8, with a blank in the place of each control character, line ends included.
std::string ToOneLine(std::string_view bytes);

// Base64 in one piece, without line ends.
std::string Base64(std::string_view bytes);

// The text as quoted-printable lines of at most 76 characters, each with CR LF at its end. Line ends of any kind (CR
// LF, LF, CR) are taken as line ends; a text without one at its end gets one, an empty text stays empty.
std::string QuotedPrintable(std::string_view text);

// A text in UTF-8 as encoded words (RFC 2047) with single blanks between them. Every word is at most 64 characters long
// and holds whole characters, so that a line with one and a short name in front stays within 76.
std::string EncodedWords(std::string_view utf8);

// A whole header line as it is sent: broken in front of blanks into lines of at most 76 bytes where its blanks allow
// that, with CR LF between them and at the end. Taking out the line ends gives the line back.
std::string FoldedHeader(std::string_view line);

}  // namespace vantry
