/*
 * judge.cpp - counts how many frames are right, by the table of a made folder of scans.
 *
 *   judge TRUTH.tsv <frames
 *
 * A frame is a line of file, page, angle_deg, and the corners x0 y0 to x3 y3, or "-" for who tells an angle only; tabs
 * between them. What is printed: how many frames are right (skew off by 0.5 degrees at most, overlap 0.95 at least), of
 * how many the skew alone is.
 */
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

#include "Quality.h"

namespace
{

struct Truth {
    study::Corners corners{};
    double angle = 0.0;
    int width = 0, height = 0;
};

/* The four corners; false where the line tells none. */
bool ReadCorners(std::istream& fields, study::Corners* corners)
{
    for (quarlo::Point& corner : *corners) fields >> corner.x >> corner.y;
    return static_cast<bool>(fields);
}

/* By file and page. */
using Table = std::map<std::pair<std::string, int>, Truth>;

Table ReadTable(const char* name)
{
    Table table;
    std::ifstream stream(name);
    for (std::string line; std::getline(stream, line);) {
        std::istringstream fields(line);
        std::string file, kind;
        int page = 0;
        Truth truth;
        if (fields >> file >> page >> kind && ReadCorners(fields, &truth.corners) &&
            fields >> truth.angle >> truth.width >> truth.height)
            table[{file, page}] = truth;
    }
    return table;
}

} // namespace

int main(int argc, char** argv)
{
    const Table table = argc == 2 ? ReadTable(argv[1]) : Table();
    if (table.empty()) {
        std::cerr << "judge: needs the table of a folder of scans\n";
        return 2;
    }
    int right = 0, skew_right = 0;
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream fields(line);
        std::string file;
        int page = 0;
        double angle = 0.0;
        fields >> file >> page >> angle;
        const auto found = table.find({file, page});
        if (!fields || found == table.end()) {
            std::cerr << "judge: no such page: " << line << '\n';
            return 1;
        }
        const Truth& truth = found->second;
        study::Corners corners{};
        if (!ReadCorners(fields, &corners)) corners = {};
        const study::Quality quality =
            study::Judge(truth.corners, truth.angle, corners, angle, truth.width, truth.height);
        right += quality.IsGood() ? 1 : 0;
        skew_right += quality.HasGoodSkew() ? 1 : 0;
    }
    std::cout << right << '\t' << skew_right << '\n';
    return 0;
}
