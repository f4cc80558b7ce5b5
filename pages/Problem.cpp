/*
 * Problem.cpp - the codes in words.
 */
#include "quarlo/pages.hpp"

namespace quarlo
{

namespace
{

struct Words {
    int code;
    std::string_view text;
};

constexpr Words kWords[] = {
    {0, "Done. The page was found, made upright and written."},
    {1, "A value outside its set was given, or the page is too small or too bare for a stage to work on."},
    {5, "Memory ran out, or the picture is larger than a bitmap can hold."},
    {9,
     "No page frame was found: no side of a page stands out from the ground, the page is narrower than 151 pixels, "
     "or its edges form no rectangle that lies in the picture. Try another --ground or --threshold, or scan the "
     "page with more of its surroundings."},
    {10, "No line can be fitted to the points found on an edge of the page. Try another --threshold."},
    {11, "An edge of the page is too ragged: no straight run was left when noise was taken away. Try another "
         "--threshold."},
    {12, "The bitmap in memory is not valid. This is a fault of the program that made it."},
    {20, "The file cannot be opened or read. Check its name and its rights."},
    {21, "The file is none of BMP, PNG, JPEG, TIFF and PNM. Convert it to one of them first."},
    {22, "The file is damaged or cut short; it cannot be decoded to its end. Get it again from where it came."},
    {23, "The file holds a kind of picture that is not taken, such as CMYK or a compressed BMP. Convert it first."},
    {24, "The picture has more pixels than can be held, or than --max-pixels allows."},
    {25, "The file has fewer pages than --pages asks for."},
    {30,
     "The result cannot be created or written to its end. Check the folder, its rights and the room on the disk."},
    {31, "The result's file exists already. --overwrite replaces it, --skip-existing leaves it."},
    {32, "The chosen format or compression cannot hold the page: only TIFF holds several pages, and G4 only 1-bit "
         "pages. Choose another --format, --compress or --depth."},
    {40,
     "A frame was found, but it does not deserve trust: too little of its edges is backed by the picture. The page "
     "was not cut. Look at it with --overlay; give --ground and --threshold by hand if the frame is right."},
    {41, "The page is turned further than --max-angle allows."},
    {42, "The page is a smaller part of the scan than --min-area allows."},
    {50, "The report given to --apply cannot be read, or says nothing of this page; or the file that --json is to "
         "go on with is no report."},
    {60, "The work was interrupted. The same command with --skip-existing goes on with it."},
    {61,
     "The process that worked on the page did not live to finish it: the page made it crash, memory ran out, or "
     "somebody ended it. Other pages are not concerned. Try the page alone, and with fewer --jobs."},
};

} // namespace

std::string_view Explain(int code)
{
    for (const Words& words : kWords)
        if (words.code == code) return words.text;
    return {};
}

std::vector<int> AllCodes()
{
    std::vector<int> codes;
    for (const Words& words : kWords) codes.push_back(words.code);
    return codes;
}

} // namespace quarlo
