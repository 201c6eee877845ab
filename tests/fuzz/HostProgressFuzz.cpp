// Whatever figures the engine tells, one after the other: what is shown of them.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "Machine.h"
#include "Progress.h"
#include "TerminalView.h"
#include "Words.h"

namespace {

constexpr Glyphs ascii = {"#", "-"};

double figure(FuzzedDataProvider &input) {
    switch (input.ConsumeIntegralInRange(0, 3)) {
    case 0:
        return input.ConsumeFloatingPoint<double>();
    case 1:
        return 0;
    default:
        return input.ConsumeIntegral<std::uint16_t>();
    }
}

Snapshot next(FuzzedDataProvider &input, std::chrono::milliseconds time) {
    static constexpr const char *packages[] = {"/a.pkg", "/b.pkg", "/c.pkg"};
    Snapshot snapshot;
    snapshot.time = time;
    snapshot.info.progressPercent = figure(input);
    snapshot.info.downloadedSize = figure(input);
    snapshot.info.totalSize = figure(input);
    snapshot.info.failed = input.ConsumeBool();
    snapshot.info.completed = input.ConsumeBool();
    snapshot.info.resumable = input.ConsumeBool();
    for (int left = input.ConsumeIntegralInRange(0, 3); left > 0; --left)
        snapshot.packages.emplace_back(input.PickValueInArray(packages));
    return snapshot;
}

bool isFigure(double value) {
    return std::isfinite(value) && value >= 0;
}

void checkFigures(const Figures &figures, const Figures &before) {
    require(figures.percent >= before.percent && figures.percent <= 100, "the bar never runs backwards");
    require((figures.percent == 100) == (figures.phase == Phase::done), "100 per cent is the end");
    require(isFigure(figures.presentKb) && isFigure(figures.totalKb) && isFigure(figures.kbPerSecond),
            "no server can spoil a figure");
    require(figures.presentKb <= figures.totalKb, "there is no more than all");
    require(!figures.left || (figures.left->count() >= 0 && figures.left->count() <= 359999),
            "an estimate says something");
}

void checkBar(const Figures &figures, int columns) {
    const std::string bar = barLine(figures, columns, ascii);
    require(bar.size() <= static_cast<std::size_t>(std::max(columns, 0)), "the bar fits the window");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    Progress progress;
    Figures before;
    std::chrono::milliseconds time{};
    Snapshot snapshot;
    while (input.remaining_bytes() > 0) {
        time += std::chrono::milliseconds(input.ConsumeIntegral<std::uint16_t>());
        snapshot = next(input, time);
        for (const Event &event : progress.take(snapshot))
            static_cast<void>(inWords(event));
        checkFigures(progress.figures(), before);
        before = progress.figures();
        checkBar(before, input.ConsumeIntegralInRange(-2, 200));
        if (input.ConsumeIntegralInRange(0, 15) == 0)
            progress.goOn(time);
        if (input.ConsumeIntegralInRange(0, 15) == 0) {
            progress.end(snapshot, Outcome::downloadsFailed);
            progress.beginAnew(time);
            before = progress.figures();
        }
    }
    progress.end(snapshot, outcomeOf(snapshot.info, true));
    checkFigures(progress.figures(), before);
    checkBar(progress.figures(), 80);
    return 0;
}
