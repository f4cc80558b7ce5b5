/*
 * make_scans.cpp - writes a folder of scans whose pages are known, for measuring the tool and for trying it at length.
 *
 *   make_scans FOLDER --count N --format jpeg|png|tiff|bmp|mixed [--dpi D] [--seed S]
 */
#include <CLI/CLI.hpp>

#include <cstdio>

#include "ScanFolder.h"

namespace
{

int Run(int argc, char** argv)
{
    study::FolderPlan plan;
    CLI::App app("Writes scans of printed pages, and truth.tsv, which tells where the pages lie in them.");
    app.add_option("FOLDER", plan.folder, "made if it is not there")->required();
    app.add_option("--count", plan.count, "pages in all")->required()->check(CLI::Range(1, 9999));
    app.add_option("--format", plan.format, "jpeg (24 bits), png (8), tiff (1, G4), bmp (24), or mixed")
        ->required()
        ->check(CLI::IsMember({"jpeg", "png", "tiff", "bmp", "mixed"}));
    app.add_option("--dpi", plan.dpi, "resolution, default 300")->check(CLI::Range(50, 1200));
    app.add_option("--seed", plan.seed, "another seed makes other scans, default 1");
    CLI11_PARSE(app, argc, argv);
    const quarlo::Problem problem = study::WriteScanFolder(plan);
    if (!problem) return 0;
    std::fprintf(stderr, "make_scans: %s\n", problem.reason.c_str());
    return 1;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return Run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "make_scans: %s\n", error.what());
        return 1;
    }
}
