#include "tools/commands.h"
#include "tools/config_report.h"
#include "tools/panel_text.h"

int ctl::config() {
    int status = statusFine;
    for (const ConfigReport& report : checkConfiguration()) {
        tell("%s", report.path.c_str());
        for (const ConfigValue& value : report.values) {
            tell("  %-15s %s", value.name.c_str(), fromPanelText(value.text).c_str());
        }
        for (const Finding& finding : report.findings) {
            tell("%s", describe(report, finding).c_str());
        }
        if (!report.isFine()) {
            status = statusTrouble;
        }
    }
    return status;
}
