#include "SimCommandLine.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <thread>

namespace {

bool toDouble(const std::string& text, double& value) {
    const char* end = text.data() + text.size();
    auto r = std::from_chars(text.data(), end, value);
    return !text.empty() && r.ec == std::errc() && r.ptr == end && std::isfinite(value);
}

bool toCount(const std::string& text, std::uint64_t& value) {
    const char* end = text.data() + text.size();
    auto r = std::from_chars(text.data(), end, value);
    return !text.empty() && r.ec == std::errc() && r.ptr == end;
}

} // namespace

const char* simUsage() {
    return "usage: gen-sim [-B<experiment>] [-O<overrides>] [-N<name>] [-P<path>] [options]\n"
           "  -B <n>                experiment number (default 0)\n"
           "  -O <overrides>        global-variable overrides, type:name:value as gen takes them\n"
           "  -N <name>             the name the report gives the model\n"
           "  -P <path>             accepted as gen takes it; the simulator writes no file\n"
           "  --seed <n>            seed of the random streams (default 1)\n"
           "  --level <p>           confidence level of every interval (default 0.95)\n"
           "  --rel-width <r>       stop once every half-width is at most r times |value|\n"
           "  --replications <n>    replications (default 1000; the most with --rel-width)\n"
           "  --time-limit <s>      start no round of replications or batch after s seconds\n"
           "  --threads <n>         worker processes of the replications (default: the cores)\n"
           "  --batches <n>         batches of a long-run measure (default 30; the fewest with\n"
           "                        --rel-width)\n"
           "  --max-batches <n>     the most batches with --rel-width (default 1000)\n"
           "  --warmup-events <n>   timed firings of the warm-up, whose length each batch has\n"
           "                        (default 10000)\n"
           "  --format table|csv|json  output format (default table)\n"
           "  --bias <name>=<f>     importance sampling: the replications draw exponential\n"
           "                        activity <name> at f times its rate and weight each value\n"
           "                        by the path's likelihood ratio (repeatable)\n"
           "  --balanced <a,b,..>=<p>  balanced failure biasing: wherever one of the named\n"
           "                        exponential activities is enabled, each draws at an\n"
           "                        equal part of p times the total rate, the others share\n"
           "                        the rest in proportion to their rates\n";
}

std::string parseSimCommandLine(int argc, char** argv, SimCommandLine& line) {
    unsigned cores = std::thread::hardware_concurrency();
    line.settings.threads = cores > 0 ? cores : 1;
    for (int i = 1; i < argc; ++i) {
        std::string word = argv[i];
        // A short option's value attached (-B3) or as the next word (-B 3).
        auto shortValue = [&](std::string& value) {
            if (word.size() > 2) {
                value = word.substr(2);
                return true;
            }
            if (i + 1 < argc) {
                value = argv[++i];
                return true;
            }
            return false;
        };
        auto longValue = [&](std::string& value) {
            if (i + 1 >= argc)
                return false;
            value = argv[++i];
            return true;
        };
        std::string value;
        if (word.size() >= 2 && word[0] == '-' && word[1] != '-') {
            char letter = word[1];
            if (std::strchr("BONP", letter) == nullptr)
                return "unknown option " + word;
            if (!shortValue(value))
                return "option -" + std::string(1, letter) + " needs a value";
            if (letter == 'B') {
                std::uint64_t n = 0;
                if (!toCount(value, n) || n > 2147483647)
                    return "experiment number " + value + " (option -B) is not a number 0 or more";
                line.experiment = static_cast<int>(n);
            } else if (letter == 'O') {
                line.overrides = value;
                line.hasOverrides = true;
            } else if (letter == 'N') {
                line.name = value;
            }
            continue;
        }
        if (word == "--help") {
            line.help = true;
            continue;
        }
        if (word.rfind("--", 0) != 0)
            return "unexpected argument " + word;
        if (!longValue(value))
            return "option " + word + " needs a value";
        SimSettings& s = line.settings;
        std::uint64_t n = 0;
        double x = 0.0;
        if (word == "--seed") {
            if (!toCount(value, n))
                return "--seed " + value + ": not a whole number 0 or more";
            s.seed = n;
        } else if (word == "--level") {
            if (!toDouble(value, x) || !(x > 0.0 && x < 1.0))
                return "--level " + value + ": not a number strictly between 0 and 1";
            s.level = x;
        } else if (word == "--rel-width") {
            if (!toDouble(value, x) || !(x > 0.0))
                return "--rel-width " + value + ": not a positive number";
            s.relWidth = x;
        } else if (word == "--time-limit") {
            if (!toDouble(value, x) || !(x > 0.0))
                return "--time-limit " + value + ": not a positive number of seconds";
            s.timeLimit = x;
        } else if (word == "--bias") {
            std::size_t equals = value.rfind('=');
            if (equals == std::string::npos || equals == 0 ||
                !toDouble(value.substr(equals + 1), x) || !(x > 0.0))
                return "--bias " + value + ": not <activity>=<positive factor>";
            s.bias.emplace_back(value.substr(0, equals), x);
        } else if (word == "--balanced") {
            std::size_t equals = value.rfind('=');
            if (equals == std::string::npos || equals == 0 ||
                !toDouble(value.substr(equals + 1), x) || !(x > 0.0 && x < 1.0))
                return "--balanced " + value +
                       ": not <activity>,...=<share strictly between 0 and 1>";
            if (!s.balanced.empty())
                return "--balanced " + value + ": given twice; name every failure in one option";
            std::string names = value.substr(0, equals);
            for (std::size_t from = 0; from <= names.size();) {
                std::size_t comma = names.find(',', from);
                if (comma == std::string::npos)
                    comma = names.size();
                if (comma == from)
                    return "--balanced " + value + ": an empty activity name";
                s.balanced.push_back(names.substr(from, comma - from));
                from = comma + 1;
            }
            s.balancedShare = x;
        } else if (word == "--format") {
            if (value == "table")
                line.format = SimFormat::Table;
            else if (value == "csv")
                line.format = SimFormat::Csv;
            else if (value == "json")
                line.format = SimFormat::Json;
            else
                return "--format " + value + ": not one of table, csv, json";
        } else {
            std::uint64_t* target = nullptr;
            std::uint64_t least = 1;
            if (word == "--replications") {
                target = &s.replications;
                least = 2;
            } else if (word == "--batches") {
                target = &s.batches;
                least = 2;
            } else if (word == "--max-batches") {
                target = &s.maxBatches;
                least = 2;
            } else if (word == "--warmup-events") {
                target = &s.batchEvents;
            } else if (word == "--threads") {
                if (!toCount(value, n) || n < 1 || n > 1024)
                    return "--threads " + value + ": not a whole number from 1 to 1024";
                s.threads = static_cast<unsigned>(n);
                continue;
            } else {
                return "unknown option " + word;
            }
            if (!toCount(value, n) || n < least)
                return word + " " + value + ": not a whole number of at least " +
                       std::to_string(least);
            *target = n;
        }
    }
    return "";
}
