/*
 * Format.cpp - names of formats, and resolutions in the units of each.
 */
#include <algorithm>
#include <cctype>
#include <cmath>
#include <limits>

#include "Formats.h"

namespace quarlo
{

namespace
{

constexpr double kInch = 0.0254; /* in metres */

struct Extension {
    std::string_view name;
    Format format;
};

constexpr Extension kExtensions[] = {
    {"bmp", Format::bmp},   {"dib", Format::bmp},  {"png", Format::png},  {"jpg", Format::jpeg},
    {"jpeg", Format::jpeg}, {"jpe", Format::jpeg}, {"tif", Format::tiff}, {"tiff", Format::tiff},
    {"pbm", Format::pnm},   {"pgm", Format::pnm},  {"ppm", Format::pnm},  {"pnm", Format::pnm},
};

/* Whole dots per inch are what people set; other units hold them only nearly: 300 are 11811 per metre. */
double Dpi(double value, Resolution::Unit unit)
{
    double dpi = 0.0;
    switch (unit) {
    case Resolution::Unit::unknown:
        return 0.0;
    case Resolution::Unit::inch:
        return value;
    case Resolution::Unit::centimetre:
        dpi = value * 100.0 * kInch;
        break;
    case Resolution::Unit::metre:
        dpi = value * kInch;
        break;
    }
    const double whole = std::round(dpi);
    return std::fabs(dpi - whole) <= 0.01 ? whole : dpi;
}

} // namespace

std::string_view NameOf(Format format)
{
    switch (format) {
    case Format::bmp:
        return "bmp";
    case Format::png:
        return "png";
    case Format::jpeg:
        return "jpeg";
    case Format::tiff:
        return "tiff";
    case Format::pnm:
        return "pnm";
    case Format::unknown:
        break;
    }
    return "";
}

Format FormatOfName(std::string_view file_name)
{
    const std::size_t dot = file_name.find_last_of("./");
    if (dot == std::string_view::npos || file_name[dot] == '/') return Format::unknown;
    std::string ending(file_name.substr(dot + 1));
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char c) { return static_cast<char>(c < 128 ? std::tolower(c) : c); });
    for (const Extension& extension : kExtensions)
        if (extension.name == ending) return extension.format;
    return Format::unknown;
}

double Resolution::dpi_x() const { return known() ? Dpi(x, unit) : 0.0; }
double Resolution::dpi_y() const { return known() ? Dpi(y, unit) : 0.0; }

std::uint32_t PerMetre(double value, Resolution::Unit unit)
{
    double metre = value;
    if (unit == Resolution::Unit::inch) metre = value / kInch;
    if (unit == Resolution::Unit::centimetre) metre = value * 100.0;
    metre = std::round(metre);
    return metre >= 1.0 && metre <= std::numeric_limits<std::int32_t>::max() ? static_cast<std::uint32_t>(metre)
                                                                             : 0;
}

} // namespace quarlo
