/*
 * OverlayText.cpp - texts that go into drawings and sheets.
 *
 * File names may hold any bytes. Everything is cut up by characters once, in NextCharacter.
 */
#include "OverlayText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace quarlo::overlay
{

namespace
{

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
constexpr std::string_view kEllipsis = "\xE2\x80\xA6";

struct Character {
    char32_t code = 0; /* U+FFFD where the bytes are no UTF-8 */
    std::size_t bytes = 1;
    bool valid = false;
};

/* The first character of a text that is not empty. */
Character NextCharacter(std::string_view text)
{
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned lead = byte(0);
    if (lead < 0x80) return {lead, 1, true};
    const std::size_t bytes = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < bytes) return {0xFFFD, 1, false};
    char32_t code = lead & (0xFFU >> (bytes + 1));
    for (std::size_t i = 1; i < bytes; ++i) {
        if ((byte(i) & 0xC0U) != 0x80) return {0xFFFD, 1, false};
        code = code << 6 | (byte(i) & 0x3FU);
    }
    constexpr std::array<char32_t, 5> least = {0, 0, 0x80, 0x800, 0x10000};
    const bool valid = code >= least[bytes] && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
    return valid ? Character{code, bytes, true} : Character{0xFFFD, 1, false};
}

bool IsSpace(char32_t code) { return code == ' ' || (code >= '\t' && code <= '\r'); }

/* What no text is made of: controls, what XML forbids, and what changes the direction of the text around it. */
bool IsHarmful(char32_t code)
{
    if (code < 0x20 || (code >= 0x7F && code < 0xA0)) return true;
    if ((code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069)) return true;
    return (code & 0xFFFE) == 0xFFFE || code == 0x2028 || code == 0x2029;
}

/* Widths of common fonts in ems; the widest of them count. */
double WidthOf(char32_t code)
{
    if (code >= 0x1100) return code == 0x2026 ? 1.0 : 1.05;
    if (code >= 0x80) return 0.78;
    const char c = static_cast<char>(code);
    if (std::string_view("ijl.,:;'|!I ()[]/\\ft").find(c) != std::string_view::npos) return 0.4;
    if (std::string_view("mwMW@%").find(c) != std::string_view::npos) return 1.0;
    return c >= 'A' && c <= 'Z' ? 0.76 : 0.64;
}

double WidthOf(char32_t code, bool bold) { return WidthOf(code) * (bold ? 1.1 : 1.0); }

/* How many bytes of the text fit into the width; at least one character. */
std::size_t Fitting(std::string_view text, double width, bool bold)
{
    std::size_t end = 0;
    while (end < text.size()) {
        const Character next = NextCharacter(text.substr(end));
        width -= WidthOf(next.code, bold);
        if (width < 0.0 && end > 0) break;
        end += next.bytes;
    }
    return end;
}

std::string_view WithoutSpaces(std::string_view text)
{
    while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
    while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
    return text;
}

/* Takes one line off the text. */
std::string_view TakeLine(std::string_view* text, double width, bool bold)
{
    std::size_t end = Fitting(*text, width, bold);
    if (end < text->size()) {
        const std::size_t space = text->substr(0, end + 1).rfind(' ');
        if (space != std::string_view::npos && space > 0) end = space;
    }
    const std::string_view line = text->substr(0, end);
    *text = WithoutSpaces(text->substr(end));
    return WithoutSpaces(line);
}

} // namespace

std::string Cleaned(std::string_view text)
{
    std::string cleaned;
    while (!text.empty()) {
        const Character next = NextCharacter(text);
        if (IsSpace(next.code))
            cleaned += ' ';
        else if (!next.valid || IsHarmful(next.code))
            cleaned += kReplacement;
        else
            cleaned += text.substr(0, next.bytes);
        text.remove_prefix(next.bytes);
    }
    return cleaned;
}

std::string Escaped(std::string_view text)
{
    std::string escaped;
    for (const char c : Cleaned(text)) {
        switch (c) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        case '\'':
            escaped += "&#39;";
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}

double TextWidth(std::string_view text, bool bold)
{
    double width = 0.0;
    while (!text.empty()) {
        const Character next = NextCharacter(text);
        width += WidthOf(next.code, bold);
        text.remove_prefix(next.bytes);
    }
    return width;
}

std::vector<std::string> Wrapped(std::string_view text, double width, bool bold, std::size_t most_lines)
{
    std::vector<std::string> lines;
    text = WithoutSpaces(text);
    while (!text.empty() && lines.size() < most_lines) lines.emplace_back(TakeLine(&text, width, bold));
    if (text.empty() || lines.empty()) return lines;
    std::string& last = lines.back();
    last.resize(Fitting(last, width - TextWidth(kEllipsis, bold), bold));
    last += kEllipsis;
    return lines;
}

std::string Fixed(double value, int digits)
{
    if (!std::isfinite(value)) return "?";
    std::array<char, 400> text; /* the largest double has 309 digits before the point */
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, digits);
    const std::string_view written(text.data(), static_cast<std::size_t>(end.ptr - text.data()));
    const bool zero = written.find_first_not_of("-0.") == std::string_view::npos;
    return std::string(zero && written.front() == '-' ? written.substr(1) : written);
}

} // namespace quarlo::overlay
