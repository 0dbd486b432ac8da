// mime/send/address_fields.hpp - collects the entries of one address field and writes it
#pragma once

#include <string>
#include <vector>

struct MimeSender;

namespace vellum {

/// One entry of an address field. An empty text counts as no text.
struct AddressEntry {
    std::string name;
    std::string address;
};

/// The entries of the address field of one token, collected until the note has given them all.
class AddressField {
public:
    /// For the field of that token. With `always_bracket` an address without a name stands in angle
    /// brackets too.
    explicit AddressField(char const * field, bool always_bracket = false)
        : field_(field), always_bracket_(always_bracket) {}

    /// Adds an entry with copies of the texts, which may be null. False, and nothing added, if
    /// `field` is another token, compared by its address.
    bool Append(char const * field, char const * name, char const * address);

    /// Writes the field, if there is an entry, and forgets the entries.
    void WriteField(MimeSender & sender);

private:
    char const * field_;
    bool always_bracket_;
    std::vector<AddressEntry> entries_;
};

} // namespace vellum
