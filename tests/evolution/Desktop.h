#pragma once

#include <gio/gio.h>

#include <memory>
#include <string>
#include <vector>

// The session's Evolution Data Server as another client of it sees it: by the bus of GLib, as all
// the programs of the desktop do.
namespace quenbrook::evolution {

struct SourceSeed {
    std::string uid;
    std::string name;
    // Of the source above it; empty when there is none.
    std::string parent;
    // Empty for a source that is no calendar.
    std::string backend = "local";
    // Empty for a calendar without one.
    std::string color;
    // Of a calendar on the CalDAV server of QUENBROOK_CALDAV_PORT.
    std::string resourcePath;
};

// Fails the running test, and throws, when the service refuses something.
class Desktop {
  public:
    Desktop();

    void addSource(const SourceSeed& seed);
    void removeSource(const std::string& uid);

    // Adds a VEVENT to a calendar, which stays open in this client.
    void addEvent(const std::string& calendar, const std::string& event);

  private:
    struct Unref {
        void operator()(GDBusConnection* bus) const { ::g_object_unref(bus); }
        void operator()(GVariant* value) const { ::g_variant_unref(value); }
    };
    using Value = std::unique_ptr<GVariant, Unref>;

    Value call(const std::string& destination, const std::string& path,
        const std::string& interface, const char* method, GVariant* arguments);
    std::string objectOf(const std::string& uid);
    std::string openCalendar(const std::string& uid);
    void waitUntilKnownToFactory(const std::string& uid);

    std::unique_ptr<GDBusConnection, Unref> bus_;
};

// Makes an empty calendar on the CalDAV server and returns its path.
std::string makeCalDavCalendar(const std::string& name);

} // namespace quenbrook::evolution
