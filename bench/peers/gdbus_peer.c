/*
 * The daemon's job for PCIe slots alone, as one would write it with GDBus: on one main loop, with
 * the library's own values, each slot compared with each.
 */
#include <gio/gio.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define SMBIOS "xyz.openbmc_project.Smbios.MDRV2"
#define KOVD "com.vexa.bmc.kovd"
#define INVENTORY "/xyz/openbmc_project/inventory"
#define BOARD INVENTORY "/system/board"
#define OBJECT_MANAGER "org.freedesktop.DBus.ObjectManager"
#define SMBIOS_SLOT "xyz.openbmc_project.Inventory.Item.systemSlotInfoType9"
#define KOVD_SLOT "xyz.openbmc_project.Inventory.Item.PCIeSlotDevice"

/* Path to a{sv}. */
static GHashTable* smbios_slots;
static GHashTable* kovd_slots;

static GDBusConnection* bus;

/* The number behind the separator of that count; -1 when there is none. */
static long number_behind(const char* text, char separator, int which)
{
    for (; which > 0 && text != NULL; --which)
    {
        text = strchr(text, separator);
        text = text != NULL ? text + 1 : NULL;
    }
    return text != NULL && g_ascii_isdigit(*text) ? strtol(text, NULL, 10) : -1;
}

static gboolean fits(GVariant* smbios, GVariant* kovd)
{
    guint16 id = 0;
    guint16 instance = 0;
    guchar locator = 0;
    const char* designation = NULL;
    const char* fqdd = NULL;
    if (!g_variant_lookup(smbios, "SlotID", "q", &id) ||
        !g_variant_lookup(kovd, "PCIeLocatorInstanceNum", "q", &instance) || id != instance)
    {
        return FALSE;
    }
    return g_variant_lookup(kovd, "PCIeLocatorType", "y", &locator) && locator == 6 &&
           g_variant_lookup(smbios, "SlotDesignation", "&s", &designation) &&
           g_variant_lookup(kovd, "PCIeFQDD", "&s", &fqdd) &&
           number_behind(designation, ' ', 2) == number_behind(fqdd, '.', 2);
}

static void on_set(GObject* source, GAsyncResult* result, gpointer unused)
{
    (void)unused;
    GError* error = NULL;
    GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, &error);
    if (reply == NULL)
    {
        g_printerr("Set: %s\n", error->message);
        g_error_free(error);
        return;
    }
    g_variant_unref(reply);
}

static void set_association(const char* kovd_path, const char* smbios_path)
{
    GVariantBuilder list;
    g_variant_builder_init(&list, G_VARIANT_TYPE("a(sss)"));
    g_variant_builder_add(&list, "(sss)", "chassis", "pcieslot", smbios_path);
    g_dbus_connection_call(bus, KOVD, kovd_path, "org.freedesktop.DBus.Properties", "Set",
                           g_variant_new("(ssv)", "xyz.openbmc_project.Association.Definitions",
                                         "Associations", g_variant_builder_end(&list)),
                           NULL, G_DBUS_CALL_FLAGS_NONE, -1, NULL, on_set, NULL);
}

static void find_smbios(const char* kovd_path, GVariant* kovd)
{
    GHashTableIter slots;
    gpointer smbios_path;
    gpointer smbios;
    g_hash_table_iter_init(&slots, smbios_slots);
    while (g_hash_table_iter_next(&slots, &smbios_path, &smbios))
    {
        if (fits(smbios, kovd))
        {
            set_association(kovd_path, smbios_path);
            return;
        }
    }
}

static void find_kovd(const char* smbios_path, GVariant* smbios)
{
    GHashTableIter slots;
    gpointer kovd_path;
    gpointer kovd;
    g_hash_table_iter_init(&slots, kovd_slots);
    while (g_hash_table_iter_next(&slots, &kovd_path, &kovd))
    {
        if (fits(smbios, kovd))
        {
            set_association(kovd_path, smbios_path);
            return;
        }
    }
}

static void keep(const char* path, GVariant* interfaces)
{
    GVariant* slot = g_variant_lookup_value(interfaces, SMBIOS_SLOT, NULL);
    if (slot != NULL)
    {
        g_hash_table_insert(smbios_slots, g_strdup(path), slot);
        find_kovd(path, slot);
        return;
    }
    slot = g_variant_lookup_value(interfaces, KOVD_SLOT, NULL);
    if (slot != NULL)
    {
        g_hash_table_insert(kovd_slots, g_strdup(path), slot);
        find_smbios(path, slot);
    }
}

static void on_added(GDBusConnection* connection, const char* sender, const char* path,
                     const char* interface, const char* signal, GVariant* body, gpointer unused)
{
    (void)connection, (void)sender, (void)path, (void)interface, (void)signal, (void)unused;
    const char* object = NULL;
    GVariant* interfaces = NULL;
    g_variant_get(body, "(&o@a{sa{sv}})", &object, &interfaces);
    keep(object, interfaces);
    g_variant_unref(interfaces);
}

static void read_objects(const char* service, const char* root)
{
    GError* error = NULL;
    GVariant* reply = g_dbus_connection_call_sync(
        bus, service, root, OBJECT_MANAGER, "GetManagedObjects", NULL,
        G_VARIANT_TYPE("(a{oa{sa{sv}}})"), G_DBUS_CALL_FLAGS_NONE, -1, NULL, &error);
    if (reply == NULL)
    {
        g_printerr("GetManagedObjects: %s\n", error->message);
        g_error_free(error);
        return;
    }
    GVariantIter* objects = NULL;
    const char* path = NULL;
    GVariant* interfaces = NULL;
    g_variant_get(reply, "(a{oa{sa{sv}}})", &objects);
    while (g_variant_iter_loop(objects, "{&o@a{sa{sv}}}", &path, &interfaces))
    {
        keep(path, interfaces);
    }
    g_variant_iter_free(objects);
    g_variant_unref(reply);
}

static void subscribe(const char* service, const char* root)
{
    g_dbus_connection_signal_subscribe(bus, service, OBJECT_MANAGER, "InterfacesAdded", root, NULL,
                                       G_DBUS_SIGNAL_FLAGS_NONE, on_added, NULL, NULL);
}

int main(void)
{
    GError* error = NULL;
    bus = g_bus_get_sync(G_BUS_TYPE_SYSTEM, NULL, &error);
    if (bus == NULL)
    {
        g_printerr("the bus: %s\n", error->message);
        return 1;
    }
    smbios_slots =
        g_hash_table_new_full(g_str_hash, g_str_equal, g_free, (GDestroyNotify)g_variant_unref);
    kovd_slots =
        g_hash_table_new_full(g_str_hash, g_str_equal, g_free, (GDestroyNotify)g_variant_unref);
    g_bus_own_name_on_connection(bus, "com.vexa.kesto.kovdSupportService",
                                 G_BUS_NAME_OWNER_FLAGS_NONE, NULL, NULL, NULL, NULL);
    subscribe(SMBIOS, INVENTORY);
    subscribe(KOVD, BOARD);
    read_objects(SMBIOS, INVENTORY);
    read_objects(KOVD, BOARD);
    g_main_loop_run(g_main_loop_new(NULL, FALSE));
    return 0;
}
