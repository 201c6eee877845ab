#include "Matrix.h"

#include <algorithm>
#include <map>
#include <set>

#include "Decisive.h"
#include "Paths.h"
#include "Reach.h"
#include "UnusableInput.h"
#include "Version.h"

namespace {

// Neighbours among the systems between which no hot-fix begins or ends to apply are one column.
void joinSystems(const std::vector<Reach> &reaches, const VersionAxis &systems, Matrix &matrix) {
    std::vector<bool> isCut(systems.size() + 1, false);
    for (const Reach &reach : reaches) {
        if (reach.firstProduct < reach.endProduct)
            isCut[reach.firstSystem] = isCut[reach.endSystem] = true;
    }
    for (std::size_t i = 0; i < systems.size(); ++i) {
        if (i == 0 || isCut[i])
            matrix.systems.push_back(systems.ranges()[i]);
        else
            matrix.systems.back() = joined(matrix.systems.back(), systems.ranges()[i]);
        matrix.columnOf.push_back(matrix.systems.size() - 1);
    }
}

// "1.0.1.0/platform.pkg"
std::string belowPackageFolder(const std::string &path) {
    return path.substr(packageDirectory().size() + 1);
}

PackageSet packagesOf(const Plan &plan) {
    PackageSet packages;
    for (const std::string &path : plan.branding)
        packages.installed.push_back(belowPackageFolder(path));
    for (const PlacedPackage &package : plan.order)
        (package.rule == PlacedBy::nothing ? packages.leftOut : packages.installed)
            .push_back(belowPackageFolder(package.path));
    return packages;
}

// The hot-fixes of one column, by the rows in which they begin and end to apply.
class Column {
public:
    Column(const std::vector<Reach> &reaches, std::size_t system, std::size_t rows)
        : m_reaches(reaches)
        , m_first(rows + 1)
        , m_ends(rows + 1) {
        for (std::size_t hotFix = 0; hotFix < reaches.size(); ++hotFix) {
            const Reach &reach = reaches[hotFix];
            const bool isHere = reach.firstSystem <= system && system < reach.endSystem;
            if (!isHere || reach.firstProduct >= reach.endProduct)
                continue;
            m_first[reach.firstProduct].push_back(hotFix);
            m_ends[reach.endProduct].push_back(hotFix);
        }
    }

    const std::vector<std::size_t> &beginning(std::size_t row) const { return m_first[row]; }
    const std::vector<std::size_t> &ending(std::size_t row) const { return m_ends[row]; }
    bool differsFromAbove(std::size_t row) const { return !m_first[row].empty() || !m_ends[row].empty(); }
    std::size_t endOf(std::size_t hotFix) const { return m_reaches[hotFix].endProduct; }

private:
    const std::vector<Reach> &m_reaches;
    std::vector<std::vector<std::size_t>> m_first;
    std::vector<std::vector<std::size_t>> m_ends;
};

class Filler {
    // What the hot-fixes that decide came to.
    struct Planned {
        std::vector<std::size_t> decisive;
        Cell cell;
    };

public:
    Filler(const Served &served, const Axes &axes, const MatrixLimits &limits, Matrix &matrix)
        : m_products(axes.products)
        , m_planner(served.offer, served.orderNames)
        , m_orders(decisiveOrdersOf(served.offer, m_planner))
        , m_reaches(reachesOf(served.offer.hotFixes, axes.products, axes.systems))
        , m_matrix(matrix) {
        joinSystems(m_reaches, axes.systems, matrix);
        if (matrix.systems.size() > limits.cells / m_products.size())
            throw UnusableInput(served.folder + ": " + std::to_string(m_products.size()) +
                                " product versions by " + std::to_string(matrix.systems.size()) +
                                " system versions, expected no more than " + std::to_string(limits.cells) +
                                " pairs of them");
        for (std::size_t system = 0; system < axes.systems.size(); ++system) {
            if (system == 0 || matrix.columnOf[system] != matrix.columnOf[system - 1])
                m_columns.emplace_back(m_reaches, system, m_products.size());
        }
        matrix.listsSets = packagesToList() <= limits.listed;
    }

    void fill() {
        m_matrix.rows.assign(m_products.size(), std::vector<Cell>(m_columns.size()));
        for (std::size_t column = 0; column < m_columns.size(); ++column)
            fill(column);
    }

private:
    std::size_t packagesToList() const {
        std::size_t all = 0;
        for (const Column &column : m_columns) {
            std::size_t chosen = 0;
            for (std::size_t row = 0; row < m_products.size(); ++row) {
                chosen += column.beginning(row).size();
                chosen -= column.ending(row).size();
                all += column.differsFromAbove(row) ? chosen : 0;
            }
        }
        return all;
    }

    void fill(std::size_t columnIndex) {
        const Column &column = m_columns[columnIndex];
        Decisive decisive(m_orders);
        std::set<std::size_t> chosen; // only where sets are listed
        std::size_t count = 0;
        std::size_t choice = 0;
        std::optional<std::size_t> set;
        for (std::size_t row = 0; row < m_products.size(); ++row) {
            for (const std::size_t hotFix : column.beginning(row))
                decisive.add(hotFix, column.endOf(hotFix));
            count += column.beginning(row).size();
            count -= column.ending(row).size();
            if (m_matrix.listsSets) {
                chosen.insert(column.beginning(row).begin(), column.beginning(row).end());
                for (const std::size_t hotFix : column.ending(row))
                    chosen.erase(hotFix);
            }
            Cell cell = cellOf(m_products.tried(row), decisive.at(row), count);
            if (column.differsFromAbove(row)) {
                ++choice;
                set.reset();
            }
            if (m_matrix.listsSets && cell.outcome == Outcome::done && !set)
                set = setOf(m_products.tried(row), {chosen.begin(), chosen.end()});
            cell.choice = choice;
            cell.set = set;
            m_matrix.rows[row][columnIndex] = std::move(cell);
        }
    }

    Cell cellOf(const std::string &product, const std::vector<std::size_t> &decisive, std::size_t count) {
        if (!m_latest || m_latest->decisive != decisive || !holdsFor(product, m_latest->cell))
            m_latest = Planned{decisive, planned(product, decisive)};
        Cell cell = m_latest->cell;
        if (cell.outcome == Outcome::done)
            cell.downloads = count;
        else
            cell.version = product;
        return cell;
    }

    // What one product's update does is what another's does that is below what both come to.
    static bool holdsFor(const std::string &product, const Cell &cell) {
        return cell.outcome != Outcome::done || (cell.isRaised && isGreaterVersion(cell.version, product));
    }

    Cell planned(const std::string &product, const std::vector<std::size_t> &decisive) const {
        const Plan plan = m_planner.planWith(product, decisive);
        Cell cell;
        cell.outcome = plan.outcome;
        cell.reason = std::make_shared<const std::string>(plan.reason);
        cell.version = plan.version;
        cell.build = plan.build;
        cell.isRaised = isGreaterVersion(plan.version, product);
        return cell;
    }

    std::size_t setOf(const std::string &product, const std::vector<std::size_t> &chosen) {
        const auto [known, isNew] = m_sets.try_emplace(chosen, m_matrix.sets.size());
        if (isNew)
            m_matrix.sets.push_back(packagesOf(m_planner.planWith(product, chosen)));
        return known->second;
    }

    const VersionAxis &m_products;
    const UpdatePlanner m_planner;
    const DecisiveOrders m_orders;
    const std::vector<Reach> m_reaches;
    Matrix &m_matrix;
    std::vector<Column> m_columns;
    std::map<std::vector<std::size_t>, std::size_t> m_sets; // by the hot-fixes that are chosen
    std::optional<Planned> m_latest;
};

// An update leads upwards or nowhere: from the highest product on, where each leads is known.
void followWays(const VersionAxis &products, Matrix &matrix) {
    for (std::size_t row = matrix.rows.size(); row-- > 0;) {
        for (std::size_t column = 0; column < matrix.systems.size(); ++column) {
            Cell &cell = matrix.rows[row][column];
            if (cell.outcome == Outcome::done && cell.isRaised) {
                cell.nextRow = products.rangeOf(cell.version);
                const Cell &next = matrix.at(cell.nextRow, column);
                cell.updates = next.updates + 1;
                cell.endRow = next.endRow;
                cell.end = next.end;
                continue;
            }
            cell.nextRow = cell.endRow = row;
            cell.end = cell.outcome == Outcome::fails  ? WayEnd::fails
                       : cell.outcome == Outcome::done ? WayEnd::offeredForEver
                                                       : WayEnd::nothingOffered;
        }
    }
}

std::string newestOf(const Served &served) {
    std::string newest;
    const auto include = [&newest](const std::string &version) {
        if (!version.empty() && (newest.empty() || isGreaterVersion(version, newest)))
            newest = version;
    };
    for (const HotFixPackageInfo &hotFix : served.offer.hotFixes)
        include(hotFix.productVer);
    for (const std::string &version : served.fullVersions)
        include(version);
    return newest;
}

} // namespace

Matrix matrixOf(const Served &served, const Axes &axes, const MatrixLimits &limits) {
    Matrix matrix;
    matrix.asker = served.asker;
    matrix.newest = newestOf(served);
    matrix.products = axes.products.ranges();
    matrix.newestRow = matrix.newest.empty() ? 0 : axes.products.rangeOf(matrix.newest);
    Filler(served, axes, limits, matrix).fill();
    followWays(axes.products, matrix);
    return matrix;
}
