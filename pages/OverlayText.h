/*
 * OverlayText.h - texts that go into drawings and sheets: made harmless, measured, broken into lines.
 */
#ifndef QUARLO_OVERLAYTEXT_H
#define QUARLO_OVERLAYTEXT_H

#include <string>
#include <string_view>
#include <vector>

namespace quarlo::overlay
{

/** Valid UTF-8 on one line: what is no text becomes U+FFFD, white space a space. */
std::string Cleaned(std::string_view text);

/** For XML and HTML, in content and in quoted attributes; cleaned as well. */
std::string Escaped(std::string_view text);

/** How wide a cleaned text is in a common sans-serif font, in ems; rather too much than too little. */
double TextWidth(std::string_view text, bool bold);

/** A cleaned text in lines of at most `width` ems, broken at spaces where there are any. What is beyond the last line is
 *  left out, and an ellipsis says so. */
std::vector<std::string> Wrapped(std::string_view text, double width, bool bold, std::size_t most_lines);

/** A number with a point in it, whatever the locale, and without a sign where it is zero. */
std::string Fixed(double value, int digits);

} // namespace quarlo::overlay

#endif
