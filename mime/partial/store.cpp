// mime/partial/store.cpp - the directory in which the fragments of incomplete messages wait
#include "mime/partial/store.hpp"

#include "mime/foundation/trace_site.hpp"

#include <utility>

namespace vellum {

namespace {

constexpr TraceSite site(unsigned long line) { return {trace_warning, "mime/partial/store", line}; }

} // namespace

PartialStore::Beginning PartialStore::Begin(FragmentLabel label, NewFragment & fragment) {
    if (!is_storable_id(label.id)) return Beginning::refused;
    OpenStore::Opened opened{};
    // Open also while the file is made: who removes what killed receivers have left must not find
    // the file before it is locked.
    auto const store = OpenStore::open(prefix_, kept_, opened);
    if (!store) {
        return opened == OpenStore::Opened::refused ? Beginning::refused : Beginning::failed;
    }
    switch (store->Prepare(label)) {
    case OpenStore::Place::free: break;
    case OpenStore::Place::taken: return Beginning::refused;
    case OpenStore::Place::unknown: return Beginning::failed;
    }
    fragment = {std::move(label), store->New_file()};
    if (!fragment.file) {
        int const error = fragment.file.error();
        trace(site(__LINE__), "Error %d creating a fragment file in %s", error, prefix_.c_str());
        platform::Failure const failure = platform::failure_of(error);
        bool const lasts =
            failure == platform::Failure::refusal || failure == platform::Failure::absent;
        return lasts ? Beginning::refused : Beginning::failed;
    }
    fragment.file.set_limit(limits_.bytes);
    fragment.file.write(format_label(fragment.label));
    return Beginning::begun;
}

PartialStore::Outcome PartialStore::Commit(NewFragment fragment, CompleteSet & set) {
    if (!fragment.file.finish()) {
        trace(site(__LINE__), "Error %d writing a fragment file in %s", fragment.file.error(),
              prefix_.c_str());
        return Outcome::failed;
    }
    OpenStore::Opened opened{};
    auto const store = OpenStore::open(prefix_, kept_, opened);
    return store ? store->Take(fragment.label, fragment.file, limits_, set) : Outcome::failed;
}

void PartialStore::Remove(CompleteSet const & set) {
    OpenStore::Opened opened{};
    if (auto const store = OpenStore::open(prefix_, kept_, opened)) store->Remove(set);
}

} // namespace vellum
