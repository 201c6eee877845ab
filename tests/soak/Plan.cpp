#include "Plan.h"

namespace {

const std::vector<Fault> updateFaults = {Fault::cut, Fault::wrongBytes, Fault::refused, Fault::serviceDown};
const std::vector<Fault> installationFaults = {Fault::cut, Fault::wrongBytes, Fault::errorPage,
                                               Fault::refused, Fault::serviceDown};

Fault faultOf(std::size_t number, const std::vector<Fault> &faults) {
    return number % 5 == 4 ? faults.at(number / 5 % faults.size()) : Fault::none;
}

} // namespace

Plan planOf(std::size_t updates, std::size_t installations) {
    Plan plan{};
    for (const Fault fault : updateFaults)
        plan.tasks.push_back({false, fault});
    for (const Fault fault : installationFaults)
        plan.tasks.push_back({true, fault});
    plan.firstOfAll = plan.tasks.size();

    updates -= updateFaults.size();
    installations -= installationFaults.size();
    std::size_t installed = 0;
    for (std::size_t i = 0; i < updates + installations; ++i) {
        const bool isInstallation = (i + 1) * installations / (updates + installations) != installed;
        if (isInstallation)
            plan.tasks.push_back({true, faultOf(installed++, installationFaults)});
        else
            plan.tasks.push_back({false, faultOf(i - installed, updateFaults)});
    }
    return plan;
}
