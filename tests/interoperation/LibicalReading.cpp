// What libical makes of calendar files.
//
//   quenbrook_libical_reading check FILE…    prints what libical finds wrong with the files
//   quenbrook_libical_reading offsets FILE   reads instants, in seconds since 1970 in UTC, from
//                                            standard input, and prints for each the offset from
//                                            UTC, in seconds, by the file's own VTIMEZONE

#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <libical/ical.h>

namespace {

using Component = std::unique_ptr<icalcomponent, decltype(&icalcomponent_free)>;

Component parsed(const char* path) {
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    return {icalparser_parse_string(text.c_str()), icalcomponent_free};
}

// What a restriction check or the parser leaves is an X-LIC-ERROR property, at any depth.
int printErrors(const char* path, icalcomponent* component) {
    int errors = 0;
    auto* property = icalcomponent_get_first_property(component, ICAL_XLICERROR_PROPERTY);
    while (property) {
        std::cout << path << ": " << icalproperty_get_xlicerror(property) << '\n';
        ++errors;
        property = icalcomponent_get_next_property(component, ICAL_XLICERROR_PROPERTY);
    }
    auto* inner = icalcomponent_get_first_component(component, ICAL_ANY_COMPONENT);
    while (inner) {
        errors += printErrors(path, inner);
        inner = icalcomponent_get_next_component(component, ICAL_ANY_COMPONENT);
    }
    return errors;
}

int check(const std::vector<const char*>& paths) {
    int errors = 0;
    for (const char* path : paths) {
        const Component stream = parsed(path);
        if (!stream || icalcomponent_isa(stream.get()) != ICAL_VCALENDAR_COMPONENT) {
            std::cout << path << ": no calendar\n";
            ++errors;
            continue;
        }
        const bool valid = icalrestriction_check(stream.get());
        const int found = printErrors(path, stream.get());
        if (!valid && found == 0) {
            std::cout << path << ": breaks a restriction\n";
        }
        errors += valid ? found : found + 1;
    }
    return errors == 0 ? 0 : 1;
}

int offsets(const char* path) {
    const Component stream = parsed(path);
    icalcomponent* definition =
        stream ? icalcomponent_get_first_component(stream.get(), ICAL_VTIMEZONE_COMPONENT)
               : nullptr;
    if (!definition) {
        return 1;
    }
    icaltimezone* zone = icaltimezone_new();
    if (!icaltimezone_set_component(zone, icalcomponent_new_clone(definition))) {
        return 1;
    }
    long long instant = 0;
    while (std::cin >> instant) {
        icaltimetype time = icaltime_from_timet_with_zone(
            static_cast<time_t>(instant), 0, icaltimezone_get_utc_timezone());
        std::cout << icaltimezone_get_utc_offset_of_utc_time(zone, &time, nullptr) << '\n';
    }
    icaltimezone_free(zone, 1);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<const char*> arguments(argv + 1, argv + argc);
    if (arguments.size() >= 2 && arguments[0] == std::string("check")) {
        return check({arguments.begin() + 1, arguments.end()});
    }
    if (arguments.size() == 2 && arguments[0] == std::string("offsets")) {
        return offsets(arguments[1]);
    }
    return 2;
}
