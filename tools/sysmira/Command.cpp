#include "tools/sysmira/Command.h"

// Before anything that includes the Windows headers: their ERROR macro would spoil it.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <optional>

#include "support/LogFactory.h"
#include "tools/sysmira/CommandFailure.h"
#include "tools/sysmira/Output.h"
#include "tools/sysmira/Target.h"
#include "tools/sysmira/counters/CountersCommand.h"
#include "tools/sysmira/devices/DeviceCommand.h"
#include "tools/sysmira/devices/DevicesCommand.h"
#include "tools/sysmira/devices/TreeCommand.h"
#include "tools/sysmira/displays/DisplaysCommand.h"
#include "tools/sysmira/events/ChannelCommand.h"
#include "tools/sysmira/events/DiagnosticsCommand.h"
#include "tools/sysmira/events/EventsCommand.h"
#include "tools/sysmira/report/ReportCommand.h"
#include "tools/sysmira/shell/ShellCommands.h"
#include "tools/sysmira/storage/DefragCommand.h"
#include "tools/sysmira/storage/DrivesCommand.h"
#include "tools/sysmira/storage/VolumesCommand.h"
#include "tools/sysmira/text/PrintableText.h"
#include "tools/sysmira/wmi/WmiCommand.h"

namespace sysmira {

namespace {

// What the arguments ask for.
struct Request {
    bool json = false;
    int logPriority = 0;
    std::string machineFile;
    bool treeWithHidden = false;
    std::string deviceId;
    std::vector<std::string> enumerators;
    CountersRequest counters;
    WmiRequest wmi;
    DrivesRequest drives;
    SectorRequest sector;
    DisplaysRequest displays;
    ChannelRequest channel;
    EventsRequest events;
    DefragRequest defrag;
    ShellRequest shell;
    ReportRequest report;
};

// The library's log lines on stderr, for as long as it lives; without a priority nothing changes.
class LogLines {
public:
    LogLines(int priority, std::ostream& err)
        : m_wanted(priority != 0), m_before(zor::LogFactory::getPriority()) {
        if (!m_wanted) return;
        zor::LogFactory::setSink([&err](const zor::String& logger, int, zor::String text) {
            err << printable(logger) + ": " + printable(text.trim()) + "\n" << std::flush;
        });
        zor::LogFactory::setPriority(priority);
    }
    ~LogLines() {
        if (!m_wanted) return;
        zor::LogFactory::setPriority(m_before);
        zor::LogFactory::setSink({});
    }
    LogLines(const LogLines&) = delete;
    LogLines& operator=(const LogLines&) = delete;

private:
    bool m_wanted;
    int m_before;
};

// A check that a value is there.
auto notEmpty(const char* expected) {
    return [expected](const std::string& value) {
        return value.empty() ? std::string("found nothing, expected ") + expected : std::string();
    };
}

// A check that a value is a decimal number of a range.
auto number(unsigned least, unsigned most) {
    return [least, most](const std::string& value) {
        unsigned long long found = 0;
        const bool isNumber = zor::String::fromUTF8(value).toUint64(found, 10) == zor::String::ParseSuccess;
        return isNumber && found >= least && found <= most
                   ? std::string()
                   : "found \"" + value + "\", expected a number from " + std::to_string(least) + " to " +
                         std::to_string(most);
    };
}

// An option with a value too few or too many.
std::string explain(const CLI::ArgumentMismatch& error) {
    const std::string text = error.what();
    const std::string required = " required ", missing = " missing";
    const std::size_t start = text.find(required), end = text.rfind(missing);
    if (start == std::string::npos || end == std::string::npos) {
        const std::string name = text.substr(0, text.find(' '));
        return "option \"" + std::string(name.compare(0, 2, "--") == 0 ? "" : "--") + name +
               "\" takes no value";
    }
    const std::size_t value = start + required.size();
    return "option \"" + text.substr(0, text.find(':')) +
           "\" needs a value: " + text.substr(value, end - value);
}

// The command line: its options write to a Request.
class CommandLine {
public:
    explicit CommandLine(Request& request) : m_request(request) {
        m_app.allow_windows_style_options(false);
        m_app.allow_extras();
        m_app.require_subcommand(0, 1);
        m_app.set_version_flag("--version", "sysmira " SYSMIRA_VERSION, "Print the version and exit");
        m_app.set_help_flag("-h,--help", "Print this help and exit");
        m_app.add_flag("--json", request.json, "Print one JSON document instead of text")
            ->disable_flag_override();
        m_app
            .add_option("--log", request.logPriority,
                        "Show the library's log lines on stderr: 1 details, 2 notes, 3 warnings, 4 errors")
            ->type_name("PRIORITY")
            ->take_last()
            ->check([](const std::string& value) {
                const bool fits = value.size() == 1 && value[0] >= '1' && value[0] <= '4';
                return fits ? std::string() : "found \"" + value + "\", expected 1, 2, 3 or 4";
            });
        if (canChooseMachine()) {
            m_app
                .add_option("--machine", request.machineFile,
                            "Show the PC of a machine file, not the bundled one")
                ->type_name("FILE")
                ->take_last()
                ->check(notEmpty("the name of a file"));
        }
        m_app.footer(
            "Without a subcommand, sysmira prints the devices. The options above may also stand behind\n"
            "the subcommand; \"sysmira SUBCOMMAND --help\" explains its own.");
        addTree();
        addCounters();
        addDevices();
        addDevice();
        addWmi();
        m_volumes = addSubcommand("volumes", "Every file-system volume, hidden ones too");
        addDrives();
        addSector();
        addDisplays();
        addEvents();
        addChannel();
        addDiagnostics();
        addDefrag();
        addShell();
        addReport();
    }

    // Gives the text of --help or --version when that was asked for. Throws CommandFailure.
    std::optional<std::string> parse(std::vector<std::string> arguments) {
        std::reverse(arguments.begin(), arguments.end());
        try {
            m_app.parse(std::move(arguments));
        } catch (const CLI::CallForVersion& version) {
            return std::string(version.what()) + "\n";
        } catch (const CLI::Success&) {
            return m_app.help();
        } catch (const CLI::RequiredError&) {
            throw CommandFailure(
                WrongUsage, "\"sysmira device\" needs the ID of a device; \"sysmira devices\" lists them");
        } catch (const CLI::ArgumentMismatch& error) {
            throw CommandFailure(WrongUsage, explain(error));
        } catch (const CLI::ParseError& error) {
            throw CommandFailure(WrongUsage, error.what());
        }
        const std::vector<std::string> unexpected = m_app.remaining(/*recurse=*/true);
        if (!unexpected.empty()) failUnexpected(unexpected.front());
        return std::nullopt;
    }

    void run(Output& output) const {
        if (m_tree->parsed()) return runTree(m_request.treeWithHidden, output);
        if (m_device->parsed()) return runDevice(m_request.deviceId, output);
        if (m_counters->parsed()) return runCounters(m_request.counters, output);
        if (m_wmi->parsed()) return runWmi(m_request.wmi, output);
        if (m_volumes->parsed()) return runVolumes(output);
        if (m_drives->parsed()) return runDrives(m_request.drives, output);
        if (m_sector->parsed()) return runSector(m_request.sector, output);
        if (m_displays->parsed()) return runDisplays(m_request.displays, output);
        if (m_events->parsed()) return runEvents(m_request.events, output);
        if (m_channel->parsed()) return runChannel(m_request.channel, output);
        if (m_diagnostics->parsed()) return runDiagnostics(output);
        if (m_defrag->parsed()) return runDefrag(m_request.defrag, output);
        if (m_help->parsed()) return runHelp(m_request.shell, output);
        if (m_helpFile->parsed()) return runHelpFile(m_request.shell, output);
        if (m_networkProperties->parsed()) return runNetworkProperties(m_request.shell, output);
        if (m_report->parsed()) return runReport(withPassedOn(m_request.report), output);
        runDevices(selections(), output);
    }

private:
    CLI::App* addSubcommand(const char* name, const char* help) {
        CLI::App* const subcommand = m_app.add_subcommand(name, help);
        subcommand->allow_extras();
        subcommand->fallthrough();
        subcommand->footer("The options of \"sysmira --help\" may stand here as well.");
        return subcommand;
    }

    void addTree() {
        m_tree = addSubcommand("tree", "The device tree");
        m_tree
            ->add_flag("--hidden", m_request.treeWithHidden,
                       "Show hidden devices too (by default they are left out, their children are not)")
            ->disable_flag_override();
    }

    void addCounters() {
        CountersRequest& counters = m_request.counters;
        m_counters = addSubcommand(
            "counters", "Performance counters by English names: what there is, and what they show");
        m_counters
            ->add_option("NAME", counters.names,
                         "Nothing: list the objects; OBJECT: list its counters and instances;\n"
                         "'OBJECT(INSTANCE)\\COUNTER' ...: read these counters")
            ->expected(0, -1)
            ->type_name("");
        m_counters
            ->add_option("--every", counters.everySeconds,
                         "Read them again after so many seconds, until Ctrl+C; with --json, each sample is\n"
                         "one line of JSON")
            ->type_name("SECONDS")
            ->take_last();
        m_counters
            ->add_option("--samples", counters.samples,
                         "End after so many samples, a second apart by default")
            ->type_name("N")
            ->take_last()
            ->check(number(1, 0xFFFFFFFF));
    }

    void addDevices() {
        m_devices = addSubcommand("devices", "Sets of devices; the options may be combined (default: --all)");
        for (const DeviceKind& kind : deviceKinds()) {
            m_devices->add_flag(kind.option, kind.help)->disable_flag_override();
        }
        m_enumerators = m_devices
                            ->add_option("--enumerator", m_request.enumerators,
                                         "Every device of an enumerator (USB, PCI, SCSI ...)")
                            ->type_name("NAME")
                            ->expected(1)
                            ->take_all()
                            ->check(notEmpty("the name of an enumerator"));
    }

    void addDevice() {
        m_device = addSubcommand("device", "All that is known of one device");
        m_device->add_option("ID", m_request.deviceId, "Its device instance ID")->type_name("")->required();
    }

    void addWmi() {
        WmiRequest& wmi = m_request.wmi;
        m_wmi =
            addSubcommand("wmi", "Objects, notifications and methods of Windows Management Instrumentation");
        m_wmi->add_option("NAMESPACE", wmi.namespacePath, "The namespace, e.g. root/cimv2")->type_name("");
        m_wmi->add_option("WQL", wmi.query, "The query, e.g. \"select * from Win32_DiskDrive\"")
            ->type_name("");
        m_wmi
            ->add_option("NAME=VALUE", wmi.parameters,
                         "With --call: an input parameter of the method; arrays as [1, 2], no value as null")
            ->expected(0, -1)
            ->type_name("");
        m_wmi
            ->add_flag(
                "--events", wmi.events,
                "Wait for the notifications that the query asks for, until Ctrl+C; with --json, each is\n"
                "one line of JSON")
            ->disable_flag_override();
        m_wmi
            ->add_option("--timeout", wmi.timeoutMs,
                         "With --events: end when so many milliseconds pass without a notification")
            ->type_name("MS")
            ->take_last()
            ->check(number(0, 0xFFFFFFFF));
        m_wmi->add_option("--call", wmi.method, "Call a method on each object and print what it returns")
            ->type_name("METHOD")
            ->take_last()
            ->check(notEmpty("the name of a method"));
    }

    void addDrives() {
        DrivesRequest& drives = m_request.drives;
        m_drives = addSubcommand("drives", "Disks, optical, tape and floppy drives with their volumes");
        m_drives
            ->add_option("DRIVE", drives.drive,
                         "One of them: its number, its name (PhysicalDrive0), its device\n"
                         "instance ID or its path")
            ->type_name("")
            ->check(notEmpty("a drive"));
        m_drives->add_flag("--map", drives.map, "Draw the drive: its partitions and how full they are")
            ->disable_flag_override();
        m_drives
            ->add_flag("--lock", drives.lock,
                       "Lock its volumes one by one, as a raw test of the drive would, and unlock them again")
            ->disable_flag_override();
    }

    void addSector() {
        SectorRequest& sector = m_request.sector;
        m_sector = addSubcommand("sector", "The volume and cluster in which a sector lies, and its use");
        m_sector->add_option("DRIVE", sector.drive, "The drive, as for \"sysmira drives\"")
            ->type_name("")
            ->check(notEmpty("a drive"));
        m_sector->add_option("SECTOR", sector.sectors, "Numbers of sectors, counted from 0")
            ->expected(0, -1)
            ->type_name("");
    }

    void addDisplays() {
        DisplaysRequest& displays = m_request.displays;
        m_displays = addSubcommand("displays", "The monitors on the desktop, with modes and EDIDs");
        m_displays
            ->add_option("NAME", displays.name,
                         "One of them: its port (DISPLAY1), device name, path or instance ID")
            ->type_name("");
        m_displays->add_flag("--edid", displays.edid, "Show the EDIDs' bytes and what they say")
            ->disable_flag_override();
        m_displays->add_option("--edid-file", displays.edidFile, "Write the EDID of one display to a file")
            ->type_name("FILE")
            ->take_last()
            ->check(notEmpty("the name of a file"));
        m_displays->add_flag("--picture", displays.picture, "Draw the arrangement of the desktop")
            ->disable_flag_override();
    }

    void addEvents() {
        EventsRequest& events = m_request.events;
        m_events = addSubcommand("events", "Records of a classic event log, oldest first");
        m_events->add_option("LOG", events.log, "The log: System, Application ...")->type_name("");
        m_events->add_option("--code", events.code, "Only events of this code (the low 16 bits of the ID)")
            ->type_name("N")
            ->take_last()
            ->check(number(0, 0xFFFF));
        m_events->add_option("--category", events.category, "Only events of this category")
            ->type_name("N")
            ->take_last()
            ->check(number(0, 0xFFFF));
        m_events->add_option("--source", events.source, "Only events of this source (letter case counts)")
            ->type_name("NAME")
            ->take_last();
        m_events
            ->add_option("--type", events.type,
                         "Only errors, or: Warning, Information, Success, Failure Audit")
            ->type_name("NAME")
            ->take_last()
            ->check(notEmpty("a type of events"));
        m_events->add_option("--limit", events.limit, "End after so many records")
            ->type_name("N")
            ->take_last()
            ->check(number(1, 0xFFFFFFFF));
        m_events->add_flag("--messages", events.messages, "Show the events' messages")
            ->disable_flag_override();
    }

    void addChannel() {
        ChannelRequest& channel = m_request.channel;
        m_channel = addSubcommand("channel", "Events of a channel of the event service, newest first");
        m_channel->add_option("CHANNEL", channel.channel, "The channel's path, e.g. System")->type_name("");
        m_channel
            ->add_option("XPATH", channel.query, "Which events, e.g. \"*[System/Level=1]\" (default: all)")
            ->type_name("");
        m_channel->add_flag("--oldest-first", channel.oldestFirst, "Turn the order round")
            ->disable_flag_override();
        m_channel->add_flag("--xml", channel.xml, "Show the whole events, as XML")->disable_flag_override();
        m_channel
            ->add_option("--value", channel.valuePaths,
                         "Show this value, e.g. Event/System/EventID; may be given several times")
            ->type_name("PATH")
            ->expected(1)
            ->take_all()
            ->check(notEmpty("the path of a value"));
        m_channel->add_flag("--messages", channel.messages, "Show the events' messages and their data too")
            ->disable_flag_override();
    }

    void addDiagnostics() {
        m_diagnostics =
            addSubcommand("diagnostics", "What Windows' own memory test and disk diagnostics have found");
    }

    void addDefrag() {
        m_defrag = addSubcommand("defrag", "The fixed volumes, or how fragmented one is");
        m_defrag
            ->add_option("VOLUME", m_request.defrag.volume,
                         "Its letter: starts Windows' analysis and waits for it")
            ->type_name("")
            ->check(notEmpty("the letter of a volume"));
    }

    void addShell() {
        ShellRequest& shell = m_request.shell;
        m_help = addSubcommand("help", "Windows' help pane, at a search or at its contents");
        m_help->add_option("TOPIC", shell.helpTopic, "What to search for")->type_name("");
        m_helpFile = addSubcommand("help-file", "A compiled help file in its window");
        m_helpFile->add_option("FILE", shell.helpFile, "The file (.chm)")->type_name("");
        m_helpFile->add_option("TOPIC", shell.helpFileTopic, "A topic of it, e.g. disks/smart.htm")
            ->type_name("");
        m_networkProperties = addSubcommand("network-properties", "Windows' dialog for a network connection");
        m_networkProperties->add_option("GUID", shell.connection, "The connection's GUID in braces")
            ->type_name("");
    }

    void addReport() {
        ReportRequest& report = m_request.report;
        m_report = addSubcommand("report", "Everything about this PC, section by section");
        m_report
            ->add_option("--section", report.sections,
                         "Only this section: system, devices, drives, displays, diagnostics, events,\n"
                         "counters; may be given several times")
            ->type_name("NAME")
            ->expected(1)
            ->take_all()
            ->check(notEmpty("the name of a section"));
        m_report->add_option("--html", report.htmlFile, "Write it to a file as one HTML page")
            ->type_name("FILE")
            ->take_last()
            ->check(notEmpty("the name of a file"));
        m_report
            ->add_option("--timeout", report.timeoutSeconds,
                         "Give a section so much time (default: 120); what it has found by then is shown")
            ->type_name("SECONDS")
            ->take_last()
            ->check(number(1, 3600));
        // How it calls itself. An empty group hides it from the help.
        m_report->add_option("--pieces-of", report.piecesOf)->group("");
    }

    // What the report's processes must know of the options of all subcommands.
    ReportRequest withPassedOn(ReportRequest report) const {
        if (m_request.logPriority != 0)
            report.passedOn.insert(report.passedOn.end(), {"--log", std::to_string(m_request.logPriority)});
        return report;
    }

    // In the order of the arguments.
    std::vector<DeviceSelection> selections() const {
        std::vector<DeviceSelection> result;
        std::size_t enumerator = 0;
        for (const CLI::Option* option : m_devices->parse_order()) {
            if (option == m_enumerators) {
                if (enumerator < m_request.enumerators.size()) {
                    result.push_back(byEnumerator(m_request.enumerators[enumerator++]));
                }
                continue;
            }
            for (const DeviceKind& kind : deviceKinds()) {
                if (option->check_name(kind.option)) result.push_back(kind.append);
            }
        }
        return result;
    }

    std::vector<std::string> knownOptions() const {
        std::vector<std::string> known;
        std::vector<const CLI::App*> apps = {&m_app};
        for (const CLI::App* subcommand : m_app.get_subcommands()) apps.push_back(subcommand);
        for (const CLI::App* app : apps) {
            for (const CLI::Option* option : app->get_options()) {
                for (const std::string& name : option->get_lnames()) known.push_back("--" + name);
            }
        }
        return known;
    }

    // An argument that is no option of what was asked, no subcommand and no value.
    [[noreturn]] void failUnexpected(const std::string& argument) const {
        const auto chosen = m_app.get_subcommands();
        const std::string helpCall =
            chosen.empty() ? "sysmira --help" : "sysmira " + chosen.front()->get_name() + " --help";
        std::string what = "unexpected argument";
        std::vector<std::string> candidates;
        if (argument.size() > 1 && argument[0] == '-') {
            what = "unknown option";
            candidates = knownOptions();
        } else if (chosen.empty()) {
            what = "unknown subcommand";
            for (const CLI::App* subcommand : m_app.get_subcommands([](const CLI::App*) { return true; }))
                candidates.push_back(subcommand->get_name());
        }
        const std::string guess = nearest(argument.substr(0, argument.find('=')), candidates);
        throw CommandFailure(WrongUsage, what + " \"" + argument + "\"; " +
                                             (guess.empty() ? "\"" + helpCall + "\" tells what there is"
                                                            : "did you mean \"" + guess + "\"?"));
    }

    Request& m_request;
    CLI::App m_app{"What this PC is made of, as Windows knows it.", "sysmira"};
    CLI::App* m_tree = nullptr;
    CLI::App* m_counters = nullptr;
    CLI::App* m_devices = nullptr;
    CLI::App* m_device = nullptr;
    CLI::App* m_wmi = nullptr;
    CLI::App* m_volumes = nullptr;
    CLI::App* m_drives = nullptr;
    CLI::App* m_sector = nullptr;
    CLI::App* m_displays = nullptr;
    CLI::App* m_events = nullptr;
    CLI::App* m_channel = nullptr;
    CLI::App* m_diagnostics = nullptr;
    CLI::App* m_defrag = nullptr;
    CLI::App* m_help = nullptr;
    CLI::App* m_helpFile = nullptr;
    CLI::App* m_networkProperties = nullptr;
    CLI::App* m_report = nullptr;
    CLI::Option* m_enumerators = nullptr;
};

void run(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) {
    Request request;
    CommandLine commandLine(request);
    if (const auto information = commandLine.parse(arguments)) {
        Output(out, err, /*json=*/false).print(*information);
        return;
    }
    const LogLines log(request.logPriority, err);
    chooseMachine(request.machineFile);
    Output output(out, err, request.json);
    commandLine.run(output);
}

}  // namespace

int runSysmira(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) noexcept {
    try {
        try {
            run(arguments, out, err);
            return Done;
        } catch (const CommandFailure& failure) {
            writeSentence(err, failure.what());
            return failure.getStatus();
        } catch (const std::bad_alloc&) {
            writeSentence(err, "there is not enough memory");
        } catch (const std::exception& failure) {
            writeSentence(err, failure.what());
        }
    } catch (...) {
        // Not even the sentence could be written.
    }
    return NotRead;
}

}  // namespace sysmira
