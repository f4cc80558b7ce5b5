/*
 * OverlaySvg.cpp - drawings as SVG that stands alone: the scan is a picture inside it.
 */
#include "OverlayDrawing.h"
#include "OverlayText.h"

namespace quarlo
{

namespace overlay
{

namespace
{

std::string Number(double value) { return Fixed(value, 2); }

std::string Attribute(const char* name, const std::string& value)
{
    return std::string(" ") + name + "=\"" + value + '"';
}

std::string ColourAttributes(const char* name, const Colour& colour)
{
    const std::string text = "rgb(" + std::to_string(colour.red) + ',' + std::to_string(colour.green) + ',' +
                             std::to_string(colour.blue) + ')';
    std::string attributes = Attribute(name, text);
    if (colour.alpha < 1.0) attributes += Attribute((std::string(name) + "-opacity").c_str(), Number(colour.alpha));
    return attributes;
}

std::string PathData(const Path& path)
{
    std::string data;
    for (const std::vector<Point>& line : path.lines) {
        char command = 'M';
        for (const Point& point : line) {
            data += command + Number(point.x) + ' ' + Number(point.y);
            command = 'L';
        }
        if (line.size() == 1) data += "h0";
        if (path.closed) data += 'z';
    }
    return data;
}

std::string Base64(const Bytes& bytes)
{
    constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const auto byte = [&](std::size_t k) { return k < bytes.size() ? std::uint32_t{bytes[k]} : 0U; };
        const std::uint32_t group = byte(i) << 16 | byte(i + 1) << 8 | byte(i + 2);
        for (const unsigned shift : {18U, 12U, 6U, 0U}) text += digits[group >> shift & 63U];
    }
    for (std::size_t i = bytes.size(); i % 3 != 0; ++i) text[text.size() - (i % 3 == 1 ? 2 : 1)] = '=';
    return text;
}

void Write(const Path& path, std::string* svg)
{
    *svg += "<path" + Attribute("d", PathData(path));
    *svg += path.fill.alpha > 0.0 ? ColourAttributes("fill", path.fill) : Attribute("fill", "none");
    if (path.width > 0.0) {
        *svg += ColourAttributes("stroke", path.colour) + Attribute("stroke-width", Number(path.width));
        if (path.dash > 0.0) *svg += Attribute("stroke-dasharray", Number(path.dash));
    }
    *svg += "/>\n";
}

void Write(const Label& label, std::string* svg)
{
    *svg += "<text" + Attribute("x", Number(label.at.x)) + Attribute("y", Number(label.at.y)) +
            Attribute("font-size", Number(label.size)) + ColourAttributes("fill", label.colour);
    if (label.bold) *svg += Attribute("font-weight", "bold");
    if (label.right) *svg += Attribute("text-anchor", "end");
    *svg += '>' + Escaped(label.text) + "</text>\n";
}

void Write(const Picture& picture, std::string* svg)
{
    *svg += "<image" + Attribute("x", Number(picture.at.x)) + Attribute("y", Number(picture.at.y)) +
            Attribute("width", std::to_string(picture.width)) +
            Attribute("height", std::to_string(picture.height)) + Attribute("preserveAspectRatio", "none") +
            Attribute("href", "data:image/png;base64," +
                                  Base64(EncodedPng(picture.width, picture.height, 1, picture.grey))) +
            "/>\n";
}

void Write(const Layer& layer, bool clipped, std::string* svg)
{
    *svg += "<g" + Attribute("id", layer.id);
    if (clipped) *svg += Attribute("clip-path", "url(#panel)");
    *svg += "><title>" + Escaped(layer.title) + "</title>\n";
    for (const Shape& shape : layer.shapes) std::visit([&](const auto& kind) { Write(kind, svg); }, shape);
    *svg += "</g>\n";
}

std::string BoxAttributes(const Box& box)
{
    return Attribute("x", Number(box.x)) + Attribute("y", Number(box.y)) + Attribute("width", Number(box.width)) +
           Attribute("height", Number(box.height));
}

} // namespace

std::string SvgOf(const Drawing& drawing)
{
    const std::string width = std::to_string(drawing.width);
    const std::string height = std::to_string(drawing.height);
    std::string svg = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\"";
    svg += Attribute("width", width) + Attribute("height", height) +
           Attribute("viewBox", "0 0 " + width + ' ' + height) + Attribute("role", "img") +
           Attribute("aria-labelledby", "title description") +
           Attribute("font-family", "'DejaVu Sans', Verdana, Arial, sans-serif") + ">\n";
    svg += "<title id=\"title\">" + Escaped(drawing.title) + "</title>\n";
    svg += "<desc id=\"description\">" + Escaped(drawing.description) + "</desc>\n";
    svg += "<defs><clipPath id=\"panel\"><rect" + BoxAttributes(drawing.panel) + "/></clipPath></defs>\n";
    svg += "<rect" + Attribute("width", width) + Attribute("height", height) +
           ColourAttributes("fill", drawing.background) + "/>\n";
    svg += "<g stroke-linecap=\"round\" stroke-linejoin=\"round\">\n";
    for (const Layer& layer : drawing.layers) Write(layer, &layer != &drawing.layers.back(), &svg);
    return svg + "</g>\n</svg>\n";
}

} // namespace overlay

Problem OverlaySvg(const Bitmap& scan, const Frame& frame, const OverlayOptions& options, std::string* svg)
{
    overlay::Drawing drawing;
    Problem problem = overlay::Compose(scan, frame, options, &drawing);
    if (!problem) *svg = overlay::SvgOf(drawing);
    return problem;
}

} // namespace quarlo
