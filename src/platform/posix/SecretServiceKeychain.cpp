#include "platform/posix/SecretServiceKeychain.h"

#include <memory>
#include <string>

#include <libsecret/secret.h>

#include "base/Utf8.h"

namespace parvel::posix {

namespace status = platform::keychain_status;
using platform::KeychainStatus;

namespace {

constexpr const char* kServiceAttribute = "service";
constexpr const char* kAccountAttribute = "account";
constexpr const char* kTextContentType = "text/plain";
constexpr const char* kBinaryContentType = "application/octet-stream";

const SecretSchema& itemSchema() {
    static const SecretSchema schema = {
        "com.tarnby.parvelmac.GenericPassword",
        SECRET_SCHEMA_NONE,
        {
            {kServiceAttribute, SECRET_SCHEMA_ATTRIBUTE_STRING},
            {kAccountAttribute, SECRET_SCHEMA_ATTRIBUTE_STRING},
            {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING},
        },
        0,
        nullptr,
        nullptr,
        nullptr,
        nullptr,
        nullptr,
        nullptr,
        nullptr,
    };
    return schema;
}

struct ErrorDeleter {
    void operator()(GError* error) const { g_error_free(error); }
};
using ErrorPointer = std::unique_ptr<GError, ErrorDeleter>;

struct HashTableDeleter {
    void operator()(GHashTable* table) const { g_hash_table_unref(table); }
};
using HashTable = std::unique_ptr<GHashTable, HashTableDeleter>;

struct ValueDeleter {
    void operator()(SecretValue* value) const { secret_value_unref(value); }
};
using Value = std::unique_ptr<SecretValue, ValueDeleter>;

// The attribute table of one item; libsecret copies what it needs from it.
HashTable attributesOf(std::string_view service, std::string_view account) {
    HashTable table(g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free));
    g_hash_table_insert(table.get(), g_strdup(kServiceAttribute),
                        g_strndup(service.data(), service.size()));
    g_hash_table_insert(table.get(), g_strdup(kAccountAttribute),
                        g_strndup(account.data(), account.size()));
    return table;
}

// A locked collection is what the Keychain reports while it may not ask the user; any other
// failure (no session bus, no Secret Service, a protocol error) means no keychain to talk to.
KeychainStatus statusOf(const GError& error) {
    if (error.domain == SECRET_ERROR && error.code == SECRET_ERROR_IS_LOCKED) {
        return status::kInteractionNotAllowed;
    }
    return status::kNotAvailable;
}

[[nodiscard]] std::expected<Value, KeychainStatus> lookUp(std::string_view service,
                                                          std::string_view account) {
    const auto attributes = attributesOf(service, account);
    GError* raw = nullptr;
    Value value(
        secret_password_lookupv_binary_sync(&itemSchema(), attributes.get(), nullptr, &raw));
    if (const ErrorPointer failure{raw}) {
        return std::unexpected(statusOf(*failure));
    }
    if (!value) {
        return std::unexpected(status::kItemNotFound);
    }
    return value;
}

}  // namespace

KeychainStatus SecretServiceKeychain::deleteItem(std::string_view service,
                                                 std::string_view account) {
    const auto attributes = attributesOf(service, account);
    GError* raw = nullptr;
    const gboolean removed =
        secret_password_clearv_sync(&itemSchema(), attributes.get(), nullptr, &raw);
    if (const ErrorPointer failure{raw}) {
        return statusOf(*failure);
    }
    return removed ? status::kSuccess : status::kItemNotFound;
}

KeychainStatus SecretServiceKeychain::addItem(std::string_view service, std::string_view account,
                                              const Bytes& data) {
    const auto existing = lookUp(service, account);
    if (existing) {
        return status::kDuplicateItem;
    }
    if (existing.error() != status::kItemNotFound) {
        return existing.error();
    }
    const std::string bytes(data.begin(), data.end());
    const char* contentType = isValidUtf8(bytes) ? kTextContentType : kBinaryContentType;
    Value value(secret_value_new(bytes.data(), static_cast<gssize>(bytes.size()), contentType));
    const auto attributes = attributesOf(service, account);
    // The account doubles as the label that keyring managers show.
    const std::string label(account);
    GError* raw = nullptr;
    secret_password_storev_binary_sync(&itemSchema(), attributes.get(), SECRET_COLLECTION_DEFAULT,
                                       label.c_str(), value.get(), nullptr, &raw);
    if (const ErrorPointer failure{raw}) {
        return statusOf(*failure);
    }
    return status::kSuccess;
}

std::expected<Bytes, KeychainStatus> SecretServiceKeychain::copyItemData(std::string_view service,
                                                                         std::string_view account) {
    const auto value = lookUp(service, account);
    if (!value) {
        return std::unexpected(value.error());
    }
    gsize length = 0;
    const gchar* secret = secret_value_get(value->get(), &length);
    const auto* first = reinterpret_cast<const std::uint8_t*>(secret);
    return Bytes(first, first + length);
}

}  // namespace parvel::posix
