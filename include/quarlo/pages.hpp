/**
 * pages.hpp - libquarlopages: picture files in and out, the page found with ground and threshold chosen by the
 * library, the page made upright, a report and a drawing of what was found.
 *
 *   Problem, Code, Explain          what went wrong, as a value with words
 *   Bitmap, Metadata, Page          a picture in memory and what its file says beside the pixels
 *   Input, Output, SafeFile         picture files: BMP, PNG, JPEG, TIFF, PNM
 *   FindFrame                       where the page lies, with a score that says how far to trust it
 *   Straighten                      the upright page: turned, cropped, with margins, size, depth
 *   ReportLine, ReadReport          the report of a page as one line of JSON, and back
 *   OverlaySvg, OverlayPng          pictures of what was found, for people
 *   ContactSheet                    all of them, to look through
 *
 * Conventions, said once:
 *   Rows          a Bitmap holds its rows as a BMP file stores them: row 0 is the bottom row of the picture, whatever
 *                 format it came from. So the same page gives the same angle and the same pixels from every format.
 *   Coordinates   all other coordinates of this header are pixels counted from the top left of the picture as people
 *                 see it, x to the right and y down; whole numbers are centres of pixels. Placement alone speaks
 *                 libquarlo's language (y is the row number).
 *   Angles        degrees; positive: the page has to be turned, and is turned, clockwise.
 *   Failures      functions answer a Problem; it is false when all went well. Results are untouched on failure unless
 *                 the comment says otherwise. Nothing is printed, no state is kept between calls, and only
 *                 std::bad_alloc is thrown.
 *   Threads       calls on different objects may run at the same time. FindFrame takes turns with itself for the
 *                 fraction of a millisecond in which libquarlo's segment numbers are in use.
 */
#ifndef QUARLO_PAGES_HPP
#define QUARLO_PAGES_HPP

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "StructTypes.h"

#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

namespace quarlo
{

using Bytes = std::vector<std::uint8_t>;

/* ---- Problems ---------------------------------------------------------------------------------------------------- */

/** What can go wrong. 1 to 12 are libquarlo's result codes, for what its stages answer. */
enum class Code : int {
    ok = 0,
    bad_argument = 1,
    out_of_memory = 5,
    no_page = 9,
    no_line = 10,
    no_edge = 11,
    invalid_bitmap = 12,
    cannot_read = 20,    /**< the file cannot be opened or read */
    unknown_format = 21, /**< no format that is known here */
    damaged = 22,        /**< the file is damaged or cut short */
    unsupported = 23,    /**< a kind of picture that is not taken, such as CMYK */
    too_large = 24,      /**< more pixels than a bitmap, or the given limit, can hold */
    no_such_page = 25,   /**< the file has fewer pages */
    cannot_write = 30,   /**< the file cannot be created or written to its end */
    exists = 31,         /**< the file is there already and may not be replaced */
    cannot_hold = 32,    /**< the format cannot hold the page: a second page, colour in G4 */
    not_trusted = 40,    /**< a frame was found, but its score is too low to cut by it */
    angle_limit = 41,    /**< the page is turned further than is allowed */
    area_limit = 42,     /**< the page is a smaller part of the scan than is allowed */
    bad_report = 50,     /**< no report, or none of this page in it */
    interrupted = 60,    /**< the caller asked to stop */
    crashed = 61         /**< the process that worked on the page did not live to finish it */
};

/** The outcome of a call: nothing wrong, or a code, the stage that gave up and a reason in words. */
struct Problem {
    Code code = Code::ok;
    std::string stage;  /**< read, range, borders, split, frame, trust, limits, turn, write, report, overlay */
    std::string reason; /**< for people; without the file's name, without a full stop */

    explicit operator bool() const { return code != Code::ok; }
};

/** What a code means and what can be done about it, a few sentences; empty for a number that is no code. */
std::string_view Explain(int code);

/** The numbers of all codes in ascending order. */
std::vector<int> AllCodes();

/* ---- Pictures ---------------------------------------------------------------------------------------------------- */

/** A libquarlo bitmap that releases itself. Rows from the bottom up, see above. */
class Bitmap
{
public:
    Bitmap() = default;
    ~Bitmap();
    Bitmap(Bitmap&& other) noexcept : rec_(std::exchange(other.rec_, null_bitmap)) {}
    Bitmap& operator=(Bitmap&& other) noexcept
    {
        std::swap(rec_, other.rec_);
        return *this;
    }
    Bitmap(const Bitmap&) = delete;
    Bitmap& operator=(const Bitmap&) = delete;

    /** A new bitmap with packed rows; the pixels are not cleared. */
    static Problem Make(int width, int height, int depth, Bitmap* bitmap);
    Problem CopyTo(Bitmap* other) const;

    bool empty() const { return rec_.buffer == nullptr; }
    int width() const { return rec_.biWidth; }
    int height() const { return rec_.biHeight; }
    int depth() const { return rec_.biBitCount; }         /**< 1, 8 or 24 bits a pixel */
    std::uint8_t* row(int y) { return rec_.ScanLine[y]; } /**< y = 0: the bottom row */
    const std::uint8_t* row(int y) const { return rec_.ScanLine[y]; }
    /** For libquarlo, which takes what it only reads without const. Another record put here must own its memory. */
    BitmapRec* rec() const { return &rec_; }

private:
    mutable BitmapRec rec_ = null_bitmap;
};

enum class Format { unknown, bmp, png, jpeg, tiff, pnm };

/** "bmp", "png", "jpeg", "tiff", "pnm"; "" for unknown. */
std::string_view NameOf(Format format);
/** By the name's extension: bmp dib png jpg jpeg jpe tif tiff pbm pgm ppm pnm, in upper or lower case. */
Format FormatOfName(std::string_view file_name);

/** Pixels per unit, as the file says it. */
struct Resolution {
    enum class Unit { unknown, inch, centimetre, metre };
    double x = 0.0; /**< 0: not told */
    double y = 0.0;
    Unit unit = Unit::unknown; /**< unknown: x and y give the shape of a pixel only */

    bool known() const { return unit != Unit::unknown && x > 0.0 && y > 0.0; }
    double dpi_x() const;
    double dpi_y() const;
};

/** A text chunk of a PNG file, or a comment of a JPEG file (key "Comment"). */
struct TextItem {
    std::string key;
    std::string text;
    std::string language;       /**< of an international text */
    std::string translated_key; /**< of an international text */
    bool international = false;
    bool compressed = false;
};

/** A TIFF tag that is not about pixels, values in the machine's byte order. */
struct TiffTag {
    std::uint32_t tag = 0;
    std::uint16_t type = 0; /**< TIFF's number of the type */
    std::uint64_t count = 0;
    Bytes values;
};

/** How a JPEG stream was made, so that it can be made the same way again. */
struct JpegCoding {
    std::vector<std::array<std::uint16_t, 64>> tables; /**< quantisation tables, in natural order; empty: unknown */
    std::array<int, 3> table_of{};                     /**< the table of each component */
    std::array<int, 3> h_sampling{};
    std::array<int, 3> v_sampling{};
    int components = 0;
    bool progressive = false;
};

/** What a picture file says beside its pixels. Kept from input to output as far as the format can hold it. */
struct Metadata {
    Format format = Format::unknown;
    int depth_in_file = 0; /**< bits per pixel as stored in the file */
    Resolution resolution;
    Bytes icc;
    int srgb_intent = -1; /**< PNG says sRGB with this rendering intent; -1: it does not */
    Bytes exif; /**< a TIFF structure, beginning with II or MM; its orientation is already applied and set to 1 */
    Bytes xmp;  /**< likewise */
    Bytes iptc;
    std::vector<TextItem> text;
    std::vector<TiffTag> tags;
    int tiff_compression = 0; /**< TIFF's number; 0: not from a TIFF file */
    int tiff_predictor = 0;
    int tiff_fill_order = 0;
    bool white_is_zero = false; /**< of 1- and 8-bit TIFF pictures: how the file numbers its greys */
    JpegCoding jpeg;
};

/** A picture and what its file says about it. */
struct Page {
    Bitmap bitmap;
    Metadata meta;
    std::vector<std::string> warnings; /**< what reading changed or left out, in words */
};

/* ---- Files ------------------------------------------------------------------------------------------------------- */

struct ReadLimits {
    std::uint64_t max_pixels = 0; /**< of a page; 0: what a bitmap can hold */
};

/**
 * A picture file that is open for reading: its pages can be read one by one, in any order, any number of times.
 * Opening answers cannot_read, unknown_format, damaged, unsupported or out_of_memory.
 */
class Input
{
public:
    virtual ~Input() = default;

    static Problem OpenFile(const std::string& name, std::unique_ptr<Input>* input);
    static Problem OpenMemory(Bytes bytes, std::unique_ptr<Input>* input);
    /** From a descriptor that need not be a file, such as a pipe: all of it is read first. It stays open. */
    static Problem OpenStream(int descriptor, std::unique_ptr<Input>* input);

    virtual Format format() const = 0;
    virtual int page_count() const = 0; /**< at least 1 */
    /** Page 0 is the first. no_such_page, too_large, damaged, unsupported, cannot_read or out_of_memory. */
    virtual Problem Read(int index, const ReadLimits& limits, Page* page) = 0;
};

enum class Compression { same, none, lzw, deflate, g4, jpeg };

struct WriteOptions {
    Format format = Format::unknown;
    Compression compression = Compression::same; /**< same: as the page's metadata say, where the format can */
    int quality = 0;                             /**< of JPEG, 1 to 100; 0: the source's tables, or 90 without */
    /** Of all pages uncompressed, where known: beyond 4 GiB TIFF files get wide offsets. */
    std::uint64_t raw_bytes = 0;
};

/**
 * A file that appears under its name only when it is whole: made aside in the target's folder, flushed to disk, then
 * moved into place. Destroyed before Commit, it leaves nothing. A target that is a symbolic link is followed; the mode
 * of a file that is replaced is kept. Create and Commit answer exists or cannot_write; bad_argument for a second Commit.
 */
class SafeFile
{
public:
    enum class Existing { refuse, replace };

    virtual ~SafeFile() = default;
    static Problem Create(const std::string& target, Existing existing, std::unique_ptr<SafeFile>* file);

    virtual int descriptor() const = 0; /**< open for reading and writing */
    virtual Problem Commit() = 0;
};

/**
 * A picture file in the making. Pages are added in order; the file is whole after Finish. All answer bad_argument,
 * cannot_hold, cannot_write or out_of_memory.
 */
class Output
{
public:
    virtual ~Output() = default;

    /** Writes to a descriptor that can seek, from its beginning; it stays open. */
    static Problem ToDescriptor(int descriptor, const WriteOptions& options, std::unique_ptr<Output>* output);
    /** Writes into memory; `bytes` is filled by Finish and must live until then. */
    static Problem ToMemory(Bytes* bytes, const WriteOptions& options, std::unique_ptr<Output>* output);

    /** A second page is refused by formats that hold one: cannot_hold. Warnings say what the format could not keep. */
    virtual Problem Add(const Page& page, std::vector<std::string>* warnings) = 0;
    virtual Problem Finish() = 0;
};

/* ---- The page in the scan ---------------------------------------------------------------------------------------- */

struct Point {
    double x = 0.0;
    double y = 0.0;
};

/** What the page lies on. Not the colour that fills corners. */
enum class Ground { automatic = 0, dark = 1, light = 255 };
std::string_view NameOf(Ground ground); /**< "auto", "dark", "light" */

/**
 * Where a page lies, in libquarlo's language: all that turning it needs. Exact: a placement written down and read back
 * gives the same pixels.
 */
struct Placement {
    int scan_width = 0; /**< of the picture that it belongs to */
    int scan_height = 0;
    double angle = 0.0; /**< radians, for RotateBitmap */
    PointRec center = {0, 0};
    int width = 0; /**< of the upright page */
    int height = 0;
    /** Left-top, left-bottom, right-top, right-bottom, as CalBorderPoints leaves them. */
    std::array<LineRec, 4> lines{};
};

/** The same page in a picture of another size, taken of the same area: scaled about the pictures' outlines. */
Placement Scaled(const Placement& placement, int scan_width, int scan_height);

/**
 * The page's corners, where the corner pixels of the upright page come from: top left, top right, bottom right, bottom
 * left, as it is read.
 */
std::array<Point, 4> CornersOf(const Placement& placement);

/** Where the four lines cross, in the same order: what is sampled. Paper that is not square makes the two differ. */
std::array<Point, 4> OutlineOf(const Placement& placement);

/** The columns inside the page on each row, for RotateBitmap. Empty where the page covers no two rows of the picture. */
struct RowSpans {
    int top = 0;
    int bottom = 0;
    std::vector<LineSeckRec> rows; /**< indexed by the row; those from top to bottom hold */
};
RowSpans SpansOf(const Placement& placement);

/** One edge of the page. */
struct Edge {
    int points = 0;         /**< border points that the line was fitted to */
    int segments = 0;       /**< runs of neighbouring points that were kept */
    int dropped = 0;        /**< runs that were left out as noise */
    double angle_deg = 0.0; /**< of the line fitted to the kept points, against the frame's edge */
    double rms_px = 0.0;    /**< root mean square distance of the kept points from that line */
    double support = 0.0;   /**< share of the edge at which the picture steps from ground to page there, 0 to 1 */
    double contrast = 0.0;  /**< grey levels between page and ground across the edge, median */
    bool at_border = false; /**< it lies on the border of the scan, which cuts the page off */
};

/** Everything that detection saw, for drawing. All points are those of the scan. */
struct Trace {
    struct Segment {
        int first = 0; /**< index into the side's points */
        int count = 0;
        bool kept = false;
    };
    struct Side {
        std::vector<Point> points;
        std::vector<Segment> segments;
    };
    std::array<Side, 4> sides;       /**< scanned from the left, the right, the top, the bottom */
    std::array<Point, 4> extremes{}; /**< leftmost, rightmost, topmost, bottommost */
    bool has_extremes = false;
    std::array<std::array<Point, 2>, 4>
        fitted{}; /**< lines fitted to the edges, cut to the scan: top, right, bottom, left */
    std::array<bool, 4> has_fitted{};
};

/** A frame, or how far the search for one came. */
struct Frame {
    Problem problem;    /**< none: the frame may be cut by */
    bool found = false; /**< there is a frame, if perhaps one that deserves no trust */
    Ground ground = Ground::automatic;
    int threshold = 0;    /**< grey level, in the copy that was searched */
    std::string prepared; /**< how the searched copy was prepared, in words; empty: it was the scan itself */
    Placement placement;
    double angle_deg = 0.0;
    std::array<Point, 4>
        corners{}; /**< top left, top right, bottom right, bottom left, as the upright page is read */
    Point center;
    int width = 0; /**< of the upright page */
    int height = 0;
    std::array<Edge, 4> edges{}; /**< top, right, bottom, left */
    double parallel_deg = 0.0;   /**< largest angle between opposite edges as fitted */
    double square_deg = 0.0;     /**< largest deviation of neighbouring edges from a right angle, as fitted */
    double score = 0.0;          /**< 0 to 1; the formula is in docs/score.md */
    Trace trace;                 /**< filled on request */
};

/** Below this score a frame is not trusted; one found in a copy of the scan has to have a little more. */
constexpr double kTrustedScore = 0.4;

struct SearchOptions {
    Ground ground = Ground::automatic;
    int threshold = 0; /**< 1 to 255; 0: chosen */
    double least_score =
        -1.0; /**< a frame below it is not trusted; negative: the default, none with a threshold by hand */
    bool trace = false;
};

/**
 * Finds the page. A frame is always given back: `problem` says whether it may be used, and where none was found, how
 * far the best attempt came: no_page, no_line, no_edge, not_trusted, bad_argument, invalid_bitmap or out_of_memory.
 */
Frame FindFrame(const Bitmap& scan, const SearchOptions& options);

/** A frame from a placement that is known from elsewhere, such as a report; nothing is searched. */
Frame FrameOf(const Placement& placement);

struct Limits {
    double max_angle_deg = 0.0; /**< 0: none */
    double min_area = 0.0;      /**< of the page, as a share of the scan's area; 0: none */
};
/** angle_limit, area_limit, or no problem. */
Problem Check(const Frame& frame, const Limits& limits);

/* ---- The upright page -------------------------------------------------------------------------------------------- */

enum class Interpolation { cubic = 1, linear = 2, nearest = 3 };
std::string_view NameOf(Interpolation interpolation);

/** What the corners, and what a margin adds, are filled with. */
struct Fill {
    enum class Kind { colour, edge /**< the mean of the scan's outer columns */ };
    Kind kind = Kind::colour;
    std::uint8_t red = 255;
    std::uint8_t green = 255;
    std::uint8_t blue = 255;
};

struct Length {
    enum class Unit { pixels, millimetres };
    double value = 0.0;
    Unit unit = Unit::pixels;
};

struct ResultOptions {
    Interpolation interpolation = Interpolation::linear;
    Fill fill;
    std::array<Length, 4> margins{}; /**< top, right, bottom, left; negative ones trim */
    std::array<Length, 2> size{};    /**< width and height of the result; 0: that of the page */
    int turn = 0;                    /**< 90, 180, 270 degrees clockwise, after all else */
    int depth = 0;                   /**< 1, 8, 24; 0: that of the scan */
    bool smooth = false;             /**< 1-bit pages are turned in grey and cut to black and white again */
    bool crop = true;                /**< false: the whole scan, turned */
    bool deskew = true;              /**< false: cut out along the axes, not turned */
    double least_angle_deg = 0.0;    /**< at smaller angles the page is cut out without resampling */
};

/** x_scan = xx * x + xy * y + x0, y_scan = yx * x + yy * y + y0; both sides counted from the top left. */
struct Affine {
    double xx = 1.0, xy = 0.0, x0 = 0.0;
    double yx = 0.0, yy = 1.0, y0 = 0.0;

    Point operator()(Point p) const { return {xx * p.x + xy * p.y + x0, yx * p.x + yy * p.y + y0}; }
};

struct Result {
    Page page;
    Affine to_source;                                    /**< from the result to the scan */
    bool resampled = false;                              /**< false: every pixel is one of the scan's */
    Interpolation interpolation = Interpolation::linear; /**< that was used, which 1-bit pages decide */
    Fill filled; /**< the colour that was used, also where it was taken from the scan */
};

/**
 * Makes the page upright. The metadata are the scan's; lengths in millimetres need its resolution, 300 dpi without. A
 * frame that is not trusted is cut by as any other. Answers no_page, bad_argument, invalid_bitmap, too_large or
 * out_of_memory.
 */
Problem Straighten(const Page& scan, const Frame& frame, const ResultOptions& options, Result* result);

/* ---- Report ------------------------------------------------------------------------------------------------------ */

enum class Status { ok, no_frame, refused, copied, error };
std::string_view NameOf(Status status);

/** What is told about one page. */
struct PageReport {
    std::string file;
    int page = 1; /**< counted from 1 */
    Status status = Status::ok;
    Problem problem;
    const Frame* frame = nullptr;                                   /**< null: none was looked for; not owned */
    int width_in = 0, height_in = 0, width_out = 0, height_out = 0; /**< 0: none */
    Resolution resolution;
    int depth = 0; /**< of the result */
    Affine to_source;
    bool has_result = false; /**< there are an affine map, a size, a depth of the result */
    Interpolation interpolation = Interpolation::linear;
    bool resampled = false;
    Fill fill;
    std::string out; /**< file name; empty: none */
    std::vector<std::string> warnings;
    std::vector<std::pair<std::string, double>> ms; /**< stage and milliseconds */
};

/** One line of JSON without a line end; docs/report.schema.json describes it. */
std::string ReportLine(const PageReport& report);

struct Summary {
    int files = 0;
    int pages = 0;
    int ok = 0, no_frame = 0, refused = 0, copied = 0, error = 0;
    int exit_code = 0;
    bool interrupted = false;
    double ms = 0.0;
};
std::string SummaryLine(const Summary& summary);

/** What a line of a report tells of a page, as far as people ask for it. */
struct ToldPage {
    std::string file;
    int page = 1;
    Status status = Status::ok;
    Problem problem;
    double score = 0.0; /**< NaN: the line tells none */
    double angle_deg = 0.0;
};
/** False: the line, which has no line end, tells of no page: it sums up, is cut short, or is none of a report. */
bool ReadReportLine(std::string_view line, ToldPage* told);
/** A file's name as reports spell it: the same, but for bytes that are no UTF-8. */
std::string ToldName(const std::string& file);

/** A page's placement as told by a report. */
struct KnownPage {
    std::string file;
    int page = 1;
    Placement placement;
};
/** The pages with a frame in the text of a report, in its order; bad_report with the line and the cause. */
Problem ReadReport(std::string_view text, std::vector<KnownPage>* pages);

/* ---- Drawings ---------------------------------------------------------------------------------------------------- */

struct OverlayOptions {
    std::string title;  /**< such as the file's name and page */
    int longest = 1600; /**< pixels of the scan's longer side in the drawing, at most */
    bool legend = true; /**< beside the scan: what was found, in words and numbers, and what the marks mean */
};

/** The scan, dimmed, with what FindFrame saw in it (ask it for the trace). bad_argument or out_of_memory. */
Problem OverlaySvg(const Bitmap& scan, const Frame& frame, const OverlayOptions& options, std::string* svg);
Problem OverlayPng(const Bitmap& scan, const Frame& frame, const OverlayOptions& options, Bytes* png);

/** One page of a scan on the contact sheet. */
struct SheetEntry {
    std::string title;
    std::string overlay; /**< file name of its drawing, relative to the sheet; empty: none */
    Status status = Status::ok;
    double score = 0.0; /**< not a number: not known */
    double angle_deg = 0.0;
    std::string note;      /**< reason, or what else is to be said */
    std::string thumbnail; /**< file name of a small drawing that is shown instead; empty: none */
    bool left = false;     /**< the result of an earlier run was left as it was; the status says nothing then */
};

/**
 * The contact sheet of a run, in HTML pages of 500 entries that link to each other. Pages that were not cut out come
 * first, then the lowest scores, and after all others those that were left from an earlier run; a score that is not
 * known counts as the lowest, and equal ones keep the order in which they were added. No page needs the network; only
 * moving by keys other than Tab needs the script that is in it. An entry is held in 64 bytes and those of its texts,
 * and a page is made when it is asked for, so that a million entries are no burden.
 */
class ContactSheet
{
public:
    static constexpr int kEntriesPerPage = 500;

    void Add(const SheetEntry& entry);

    int page_count() const; /**< at least 1 */
    /** The file name by which the others link to a page: index.html for 1, the first, then index-2.html and so on. */
    static std::string NameOf(int page);
    /** The HTML of a page, 1 to page_count(); empty for any other number. The first call after Add sorts. */
    std::string Page(int page);

private:
    struct Item {
        Status status = Status::ok;
        bool left = false;
        double score = 0.0;
        double angle_deg = 0.0;
        std::size_t begin = 0;             /* of the texts, in texts_ */
        std::array<std::size_t, 4> ends{}; /* title, overlay, note, thumbnail */
    };
    static bool ComesBefore(const Item& one, const Item& other);
    SheetEntry EntryOf(const Item& item) const;
    void Sort();

    std::vector<Item> items_;
    std::string texts_;
    std::array<std::size_t, 6> counts_{}; /* by status, worst first; then those that were left */
    bool sorted_ = true;
};

} // namespace quarlo

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#endif
