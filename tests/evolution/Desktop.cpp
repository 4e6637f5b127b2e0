#include "tests/evolution/Desktop.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <thread>

namespace quenbrook::evolution {
namespace {

const std::string family = "org.gnome.evolution.dataserver.";
const std::string registry = family + "Sources5";
const std::string factory = family + "Calendar8";
const std::string registryPath = "/org/gnome/evolution/dataserver/SourceManager";
const std::string factoryPath = "/org/gnome/evolution/dataserver/CalendarFactory";

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    if (value == nullptr) {
        throw std::runtime_error(std::string(name) + " is not set");
    }
    return value;
}

struct Free {
    void operator()(void* memory) const { ::g_free(memory); }
    void operator()(GKeyFile* file) const { ::g_key_file_unref(file); }
};

std::string keyFile(const SourceSeed& seed) {
    const std::unique_ptr<GKeyFile, Free> file(::g_key_file_new());
    const auto set = [&](const char* group, const char* key, const std::string& value) {
        ::g_key_file_set_string(file.get(), group, key, value.c_str());
    };
    set("Data Source", "DisplayName", seed.name);
    set("Data Source", "Enabled", "true");
    set("Data Source", "Parent", seed.parent);
    if (!seed.backend.empty()) {
        set("Calendar", "BackendName", seed.backend);
    }
    if (!seed.color.empty()) {
        set("Calendar", "Color", seed.color);
    }
    if (!seed.resourcePath.empty()) {
        set("Authentication", "Host", "127.0.0.1");
        set("Authentication", "Port", environment("QUENBROOK_CALDAV_PORT"));
        set("Authentication", "Method", "none");
        set("Security", "Method", "none");
        set("WebDAV Backend", "ResourcePath", seed.resourcePath);
    }
    const std::unique_ptr<char, Free> text(::g_key_file_to_data(file.get(), nullptr, nullptr));
    return text.get();
}

} // namespace

Desktop::Desktop()
    : bus_(::g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr)) {
    if (!bus_) {
        throw std::runtime_error("there is no session bus");
    }
}

void Desktop::addSource(const SourceSeed& seed) {
    GVariantBuilder sources;
    ::g_variant_builder_init(&sources, G_VARIANT_TYPE("a{ss}"));
    ::g_variant_builder_add(&sources, "{ss}", seed.uid.c_str(), keyFile(seed).c_str());
    call(registry, registryPath, family + "SourceManager", "CreateSources",
        ::g_variant_new("(a{ss})", &sources));
    if (!seed.backend.empty()) {
        waitUntilKnownToFactory(seed.uid);
    }
}

void Desktop::removeSource(const std::string& uid) {
    call(registry, objectOf(uid), family + "Source.Removable", "Remove", nullptr);
}

void Desktop::addEvent(const std::string& calendar, const std::string& event) {
    const char* const events[] = {event.c_str(), nullptr};
    call(factory, openCalendar(calendar), family + "Calendar", "CreateObjects",
        ::g_variant_new("(^asu)", events, 0U));
}

Desktop::Value Desktop::call(const std::string& destination, const std::string& path,
    const std::string& interface, const char* method, GVariant* arguments) {
    GError* error = nullptr;
    Value answer(::g_dbus_connection_call_sync(bus_.get(), destination.c_str(), path.c_str(),
        interface.c_str(), method, arguments, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr,
        &error));
    if (!answer) {
        const std::string text = std::string(method) + ": " + error->message;
        ::g_error_free(error);
        throw std::runtime_error(text);
    }
    return answer;
}

std::string Desktop::objectOf(const std::string& uid) {
    const Value answer = call(
        registry, registryPath, "org.freedesktop.DBus.ObjectManager", "GetManagedObjects", nullptr);
    GVariantIter* objects = nullptr;
    ::g_variant_get(answer.get(), "(a{oa{sa{sv}}})", &objects);
    const char* path = nullptr;
    GVariant* interfaces = nullptr;
    std::string found;
    while (::g_variant_iter_next(objects, "{&o@a{sa{sv}}}", &path, &interfaces) != 0) {
        const Value owned(interfaces);
        const Value source(::g_variant_lookup_value(
            interfaces, (family + "Source").c_str(), G_VARIANT_TYPE("a{sv}")));
        const char* name = nullptr;
        if (source && ::g_variant_lookup(source.get(), "UID", "&s", &name) != 0 && uid == name) {
            found = path;
        }
    }
    ::g_variant_iter_free(objects);
    return found;
}

std::string Desktop::openCalendar(const std::string& uid) {
    const Value answer = call(factory, factoryPath, family + "CalendarFactory", "OpenCalendar",
        ::g_variant_new("(s)", uid.c_str()));
    const char* path = nullptr;
    ::g_variant_get(answer.get(), "(&s&s)", &path, nullptr);
    call(factory, path, family + "Calendar", "Open", nullptr);
    return path;
}

// The registry tells the factory in its own time.
void Desktop::waitUntilKnownToFactory(const std::string& uid) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (true) {
        try {
            call(factory, factoryPath, family + "CalendarFactory", "OpenCalendar",
                ::g_variant_new("(s)", uid.c_str()));
            return;
        } catch (const std::runtime_error& error) {
            const bool isKnown =
                std::string_view(error.what()).find("No such source") == std::string_view::npos;
            if (isKnown || std::chrono::steady_clock::now() >= deadline) {
                return;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

std::string makeCalDavCalendar(const std::string& name) {
    const std::filesystem::path folder =
        std::filesystem::path(environment("QUENBROOK_CALDAV_STORAGE")) / "collection-root" /
        "someone" / name;
    std::filesystem::create_directories(folder);
    std::ofstream(folder / ".Radicale.props") << R"({"tag": "VCALENDAR"})";
    return "/someone/" + name + "/";
}

} // namespace quenbrook::evolution
