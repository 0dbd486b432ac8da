// tests/partial_store_damage_test.cpp - a partial store whose index is not what it was
#include "tests/support/fragments.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <vector>

using namespace vellum::test;

namespace {

constexpr char index_name[] = "MailPart.Ndx";

timespec time_of(StoreDirectory const & store) {
    struct stat status {};
    stat(store.path(index_name).c_str(), &status);
    return status.st_mtim;
}

void set_time(StoreDirectory const & store, timespec time) {
    timespec const times[] = {time, time};
    utimensat(AT_FDCWD, store.path(index_name).c_str(), times, 0);
}

/// Five messages, of each of which all fragments but one are in the store.
class DamagedIndex : public testing::Test {
protected:
    DamagedIndex() {
        for (int i = 0; i < 5; ++i) {
            samples_.push_back({"message " + std::to_string(i), 5});
            for (int number = 1; number <= 5; ++number)
                if (number != i + 1) receive(store_.prefix(), samples_.back().fragment(number));
        }
        time_ = time_of(store_);
        files_ = store_.files();
        index_ = files_[index_name];
    }

    /// With this index all five sets still come home, and only what isn't theirs stays behind.
    void check(std::string const & index, std::string const & how, bool keeps_time = false) {
        files_[index_name] = index;
        store_.restore(files_);
        if (keeps_time) set_time(store_, time_);
        for (int number = 1; number <= 5; ++number) {
            Sample const & sample = samples_[static_cast<std::size_t>(number) - 1];
            ASSERT_TRUE(receive(store_.prefix(), sample.fragment(number, number, 0)).is(sample))
                << how << ", fragment " << number;
        }
        ASSERT_EQ(store_.files(), foreign_) << how;
    }

    StoreDirectory store_;
    std::vector<Sample> samples_;
    StoreDirectory::Files files_;
    StoreDirectory::Files foreign_;
    std::string index_;
    timespec time_{}; ///< of the index
};

TEST_F(DamagedIndex, IsMadeAnewWhereverItIsCutOrChanged) {
    for (std::size_t at = 0; at < index_.size() && !HasFailure(); ++at) {
        check(index_.substr(0, at), "cut at " + std::to_string(at), at % 2 == 0);
        std::string index = index_;
        index[at] = static_cast<char>(index[at] ^ (at % 2 == 0 ? 0x01 : 0x0F));
        check(index, "flipped at " + std::to_string(at), at % 3 == 0);
    }
}

/// As `cp -a` brings it back: into the same file, with the times.
TEST_F(DamagedIndex, IsNotTrustedWhenAnOlderOneCameBackWithItsTime) {
    StoreDirectory const store;
    for (int number = 1; number <= 4; ++number) {
        receive(store.prefix(), Sample{"older", 5}.fragment(5));
        std::string const index = store.read(index_name);
        timespec const time = time_of(store);
        Sample const sample{"sample " + std::to_string(number), 2};
        ASSERT_EQ(receive(store.prefix(), sample.fragment(2)).result,
                  MimeINote::Receive_Fragment_Stored);
        store.write(index_name, index);
        set_time(store, time);
        ASSERT_TRUE(receive(store.prefix(), sample.fragment(1)).is(sample)) << number;
    }
}

TEST_F(DamagedIndex, IsMadeAnewFromTheFragments) {
    foreign_ = {{"Msg00009.001", "\x80 0 1 1"},                // no whole label
                {"Msg00009.002", "\x80 0 3 3 message 0\r\nx"}, // not what its name says
                {"Msg00009.003", ""}};
    files_.insert(foreign_.begin(), foreign_.end());
    auto const part = [this](std::string const & name, char number) {
        std::string const path = store_.path(name);
        return std::to_string(path.size()) + '\n' + path + '\n' + number + '\n';
    };
    std::string const twin = part("Msg00001.002", '2');
    std::string const first = "9\nmessage 0\n1\n5\n4\n" + twin + part("Msg00001.003", '3') +
                              part("Msg00001.004", '4') + part("Msg00001.005", '5');
    std::string const indices[] = {
        "0\n5\n1\n9\nmessage 0\n1\n2\n2\n" + twin + twin, // one file twice
        "0\n5\n99999999\n",
        "0\n5\n1\n2147483647\nxxxx",
        "0\n5\n1\n1\nx\n1\n1\n2147483647\n",
        std::string(std::size_t{1} << 20, '9'),
        index_ + "x",
        "0\n1048575\n" + index_.substr(4),
        "0\n5\n0\n",         // whole, and of a time when there was nothing
        "0\n5\n1\n" + first, // when there was one message
        "0\n2147483647\n" + index_.substr(4),
    };
    for (std::string const & index : indices)
        check(index, index.substr(0, 40));

    // An index that has grown old mustn't make a set of fragments that have gone.
    files_[index_name] = "0\n5\n1\n9\nmessage 0\n1\n2\n2\n" + part("Msg00001.001", '1') + twin;
    store_.restore(files_);
    EXPECT_EQ(receive(store_.prefix(), samples_[0].fragment(2, 2, 0)).result,
              MimeINote::Receive_Fragment_Stored);
}

} // namespace
