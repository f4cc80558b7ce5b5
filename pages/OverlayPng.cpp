/*
 * OverlayPng.cpp - drawings as PNG, painted by cairo.
 */
#include <cstring>
#include <memory>
#include <new>

#include <cairo.h>
#include <png.h>

#include "OverlayDrawing.h"

namespace quarlo
{

namespace overlay
{

namespace
{

struct Release {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
    void operator()(cairo_t* context) const { cairo_destroy(context); }
};
using Surface = std::unique_ptr<cairo_surface_t, Release>;
using Context = std::unique_ptr<cairo_t, Release>;

void SetColour(cairo_t* context, const Colour& colour)
{
    cairo_set_source_rgba(context, colour.red / 255.0, colour.green / 255.0, colour.blue / 255.0, colour.alpha);
}

void Trace(cairo_t* context, const Path& path)
{
    cairo_new_path(context);
    for (const std::vector<Point>& line : path.lines) {
        if (line.empty()) continue;
        cairo_move_to(context, line.front().x, line.front().y);
        for (const Point& point : line) cairo_line_to(context, point.x, point.y);
        if (path.closed) cairo_close_path(context);
    }
}

void Paint(cairo_t* context, const Path& path)
{
    Trace(context, path);
    if (path.fill.alpha > 0.0) {
        SetColour(context, path.fill);
        cairo_fill_preserve(context);
    }
    if (path.width <= 0.0) return;
    SetColour(context, path.colour);
    cairo_set_line_width(context, path.width);
    cairo_set_dash(context, &path.dash, path.dash > 0.0 ? 1 : 0, 0.0);
    cairo_stroke(context);
}

void Paint(cairo_t* context, const Label& label)
{
    cairo_select_font_face(context, "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL,
                           label.bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(context, label.size);
    SetColour(context, label.colour);
    cairo_text_extents_t extents = {};
    if (label.right) cairo_text_extents(context, label.text.c_str(), &extents);
    cairo_move_to(context, label.at.x - extents.x_advance, label.at.y);
    cairo_show_text(context, label.text.c_str());
}

/* A pixel of the surface is a number whose bytes are, from the highest down, unused, red, green, blue. */
void CopyPixels(const Picture& picture, cairo_surface_t* surface)
{
    unsigned char* row = cairo_image_surface_get_data(surface);
    const std::uint8_t* grey = picture.grey.data();
    for (int y = 0; y < picture.height; ++y, row += cairo_image_surface_get_stride(surface))
        for (std::size_t x = 0; x < static_cast<std::size_t>(picture.width); ++x) {
            const std::uint32_t pixel = *grey++ * 0x010101U;
            std::memcpy(row + 4 * x, &pixel, 4);
        }
    cairo_surface_mark_dirty(surface);
}

void Paint(cairo_t* context, const Picture& picture)
{
    const Surface surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, picture.width, picture.height));
    if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) throw std::bad_alloc();
    cairo_surface_flush(surface.get());
    CopyPixels(picture, surface.get());
    cairo_set_source_surface(context, surface.get(), picture.at.x, picture.at.y);
    cairo_paint(context);
}

/* The legend alone is not cut off at the panel. */
void Paint(cairo_t* context, const Layer& layer, const Box* panel)
{
    cairo_save(context);
    if (panel != nullptr) {
        cairo_rectangle(context, panel->x, panel->y, panel->width, panel->height);
        cairo_clip(context);
    }
    for (const Shape& shape : layer.shapes) std::visit([&](const auto& kind) { Paint(context, kind); }, shape);
    cairo_restore(context);
}

/* The pixels of a surface, as CopyPixels explains them. */
Bytes PixelsOf(cairo_surface_t* surface)
{
    cairo_surface_flush(surface);
    const int width = cairo_image_surface_get_width(surface), height = cairo_image_surface_get_height(surface);
    const unsigned char* row = cairo_image_surface_get_data(surface);
    Bytes pixels;
    pixels.reserve(3 * static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (int y = 0; y < height; ++y, row += cairo_image_surface_get_stride(surface))
        for (std::size_t x = 0; x < static_cast<std::size_t>(width); ++x) {
            std::uint32_t pixel;
            std::memcpy(&pixel, row + 4 * x, 4);
            for (const unsigned shift : {16U, 8U, 0U}) pixels.push_back(static_cast<std::uint8_t>(pixel >> shift));
        }
    return pixels;
}

Problem ProblemOf(cairo_status_t status)
{
    if (status == CAIRO_STATUS_SUCCESS) return {};
    if (status == CAIRO_STATUS_NO_MEMORY) return {Code::out_of_memory, "overlay", "memory ran out"};
    return {Code::bad_argument, "overlay", std::string("cannot be drawn: ") + cairo_status_to_string(status)};
}

} // namespace

/* Fails only when memory runs out: sizes and format are in order. */
Bytes EncodedPng(int width, int height, int channels, const Bytes& pixels)
{
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = channels == 1 ? PNG_FORMAT_GRAY : PNG_FORMAT_RGB;
    image.flags = PNG_IMAGE_FLAG_FAST; /* and no larger, with as few levels as the scan has */
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
    Bytes png(size);
    if (png_image_write_to_memory(&image, png.data(), &size, 0, pixels.data(), 0, nullptr) == 0)
        throw std::bad_alloc();
    png.resize(size);
    return png;
}

Problem PngOf(const Drawing& drawing, Bytes* png)
{
    const Surface surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, drawing.width, drawing.height));
    const Context context(cairo_create(surface.get()));
    cairo_set_line_cap(context.get(), CAIRO_LINE_CAP_ROUND);
    cairo_set_line_join(context.get(), CAIRO_LINE_JOIN_ROUND);
    SetColour(context.get(), drawing.background);
    cairo_paint(context.get());
    for (const Layer& layer : drawing.layers)
        Paint(context.get(), layer, &layer == &drawing.layers.back() ? nullptr : &drawing.panel);
    Problem problem = ProblemOf(cairo_status(context.get()));
    if (!problem) *png = EncodedPng(drawing.width, drawing.height, 3, PixelsOf(surface.get()));
    return problem;
}

} // namespace overlay

Problem OverlayPng(const Bitmap& scan, const Frame& frame, const OverlayOptions& options, Bytes* png)
{
    overlay::Drawing drawing;
    Problem problem = overlay::Compose(scan, frame, options, &drawing);
    return problem ? problem : overlay::PngOf(drawing, png);
}

} // namespace quarlo
