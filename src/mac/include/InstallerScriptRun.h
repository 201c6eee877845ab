#pragma once

// Runs the installer script in a session of its own and ends this process, with status 1 once the script has
// ended. Gives 0 when no process could be started for it. A script that is not whole is not executed,
// whatever stands under its name: the run ends like one whose script cannot be executed.
int runInstallerScript(bool isWhole);
