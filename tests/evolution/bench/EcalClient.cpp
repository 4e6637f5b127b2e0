// What a program over libecal costs that does the same: ecal_client calendars | month CALENDAR |
// event CALENDAR UID | create CALENDAR. Reads and ignores standard input, prints what it finds.

#include <libecal/libecal.h>

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace {

struct Unref {
    void operator()(gpointer object) const { ::g_object_unref(object); }
};
template <class Object>
using Owned = std::unique_ptr<Object, Unref>;

constexpr const char* month = "(occur-in-time-range? (make-time \"20260301T000000Z\") "
                              "(make-time \"20260401T000000Z\"))";
// Anything else may wait for ever.
constexpr guint32 notWaiting = static_cast<guint32>(-1);

int fail(const char* what, GError* error) {
    std::fprintf(stderr, "%s: %s\n", what, error ? error->message : "unknown");
    return 1;
}

int listCalendars(ESourceRegistry* registry) {
    GList* sources = ::e_source_registry_list_enabled(registry, E_SOURCE_EXTENSION_CALENDAR);
    for (GList* each = sources; each != nullptr; each = each->next) {
        auto* source = static_cast<ESource*>(each->data);
        const Owned<EClient> client(::e_cal_client_connect_sync(
            source, E_CAL_CLIENT_SOURCE_TYPE_EVENTS, notWaiting, nullptr, nullptr));
        std::printf("%s %s %d\n", ::e_source_get_uid(source), ::e_source_get_display_name(source),
            client && !::e_client_is_readonly(client.get()));
    }
    ::g_list_free_full(sources, ::g_object_unref);
    return 0;
}

int listMonth(ECalClient* client) {
    GSList* events = nullptr;
    GError* error = nullptr;
    if (!::e_cal_client_get_object_list_sync(client, month, &events, nullptr, &error)) {
        return fail("list", error);
    }
    for (GSList* each = events; each != nullptr; each = each->next) {
        std::puts(::i_cal_component_get_summary(static_cast<ICalComponent*>(each->data)));
    }
    return 0;
}

int getEvent(ECalClient* client, const char* uid) {
    ICalComponent* event = nullptr;
    GError* error = nullptr;
    if (!::e_cal_client_get_object_sync(client, uid, nullptr, &event, nullptr, &error)) {
        return fail("get", error);
    }
    std::puts(::i_cal_component_get_summary(event));
    return 0;
}

int createEvent(ECalClient* client) {
    const Owned<ICalComponent> event(::i_cal_component_new_from_string(
        "BEGIN:VEVENT\r\nDTSTART:20260301T100000Z\r\nDTEND:20260301T110000Z\r\n"
        "SUMMARY:Created\r\nEND:VEVENT\r\n"));
    char* uid = nullptr;
    GError* error = nullptr;
    if (!::e_cal_client_create_object_sync(
            client, event.get(), E_CAL_OPERATION_FLAG_NONE, &uid, nullptr, &error)) {
        return fail("create", error);
    }
    std::puts(uid);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const std::string_view word = argc > 1 ? argv[1] : "";
    GError* error = nullptr;
    const Owned<ESourceRegistry> registry(::e_source_registry_new_sync(nullptr, &error));
    if (!registry) {
        return fail("registry", error);
    }
    if (word == "calendars") {
        return listCalendars(registry.get());
    }
    const Owned<ESource> source(
        ::e_source_registry_ref_source(registry.get(), argc > 2 ? argv[2] : ""));
    const Owned<EClient> client(
        source ? ::e_cal_client_connect_sync(
                     source.get(), E_CAL_CLIENT_SOURCE_TYPE_EVENTS, notWaiting, nullptr, &error)
               : nullptr);
    if (!client) {
        return fail("connect", error);
    }
    auto* calendar = E_CAL_CLIENT(client.get());
    if (word == "month") {
        return listMonth(calendar);
    }
    return word == "create" ? createEvent(calendar) : getEvent(calendar, argc > 3 ? argv[3] : "");
}
