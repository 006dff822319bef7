#include "playlists/stream_addresses.h"

#include <gtest/gtest.h>

#include <map>

namespace receiver {
namespace {

using Addresses = std::vector<std::string>;

constexpr const char* kList = "http://a.example/list.m3u";
constexpr const char* kLive = "http://a.example/live";

class StreamAddressesTest : public testing::Test {
protected:
    StreamAddresses From(const std::string& given) {
        return {given, [this](const std::string& url, PlaylistSign sign) {
                    asked_.push_back((sign == PlaylistSign::kName ? "name " : "none ") + url);
                    return lists_[url];
                }};
    }

    std::map<std::string, Addresses> lists_;
    Addresses asked_;
};

}  // namespace

TEST_F(StreamAddressesTest, AnAddressThatOpensIsNeverAskedFor) {
    StreamAddresses addresses = From(kLive);
    EXPECT_EQ(addresses.Current(), kLive);
    EXPECT_EQ(asked_, Addresses());
}

TEST_F(StreamAddressesTest, APlaylistByItsNameIsAskedForOnce) {
    lists_[kList] = {kLive};
    StreamAddresses addresses = From(kList);
    EXPECT_EQ(addresses.Current(), kLive);
    EXPECT_EQ(addresses.Current(), kLive);
    EXPECT_EQ(asked_, Addresses{"name http://a.example/list.m3u"});
}

TEST_F(StreamAddressesTest, APlaylistThatNamesNothingIsOpenedItself) {
    StreamAddresses addresses = From(kList);
    EXPECT_EQ(addresses.Current(), kList);
    EXPECT_EQ(addresses.Current(), kList);
    EXPECT_EQ(asked_.size(), 1u);
}

TEST_F(StreamAddressesTest, WhatIsNoAudioMayBeAPlaylist) {
    lists_[kLive] = {"http://b.example/1"};
    StreamAddresses addresses = From(kLive);
    EXPECT_TRUE(addresses.Next(true));
    EXPECT_EQ(addresses.Current(), "http://b.example/1");
    EXPECT_EQ(asked_, Addresses{"none http://a.example/live"});
}

TEST_F(StreamAddressesTest, WhatIsNoAudioAndNamesNothingIsTheEnd) {
    StreamAddresses addresses = From(kLive);
    EXPECT_FALSE(addresses.Next(true));
    EXPECT_EQ(asked_.size(), 1u);
}

TEST_F(StreamAddressesTest, WhatDoesNotAnswerIsNotAskedForAPlaylist) {
    StreamAddresses addresses = From(kLive);
    EXPECT_FALSE(addresses.Next(false));
    EXPECT_EQ(asked_, Addresses());
}

TEST_F(StreamAddressesTest, TheFurtherAddressesFollowInTheirOrderAndThenAllAnew) {
    lists_[kList] = {"http://b.example/1", "http://b.example/2", "http://b.example/3"};
    StreamAddresses addresses = From(kList);
    for (int round = 1; round <= 2; ++round) {
        EXPECT_EQ(addresses.Current(), "http://b.example/1");
        EXPECT_TRUE(addresses.Next(false));
        EXPECT_EQ(addresses.Current(), "http://b.example/2");
        EXPECT_TRUE(addresses.Next(false));
        EXPECT_EQ(addresses.Current(), "http://b.example/3");
        EXPECT_FALSE(addresses.Next(false));
    }
    EXPECT_EQ(asked_.size(), 2u);
}

TEST_F(StreamAddressesTest, APlaylistInAPlaylistTakesItsPlace) {
    lists_[kList] = {"http://b.example/more.pls", "http://b.example/last"};
    lists_["http://b.example/more.pls"] = {"http://c.example/1", "http://c.example/2"};
    StreamAddresses addresses = From(kList);
    for (const char* const url : {"http://c.example/1", "http://c.example/2"}) {
        EXPECT_EQ(addresses.Current(), url);
        EXPECT_TRUE(addresses.Next(false));
    }
    EXPECT_EQ(addresses.Current(), "http://b.example/last");
    EXPECT_FALSE(addresses.Next(false));
}

TEST_F(StreamAddressesTest, ACircleEndsAfterFivePlaylists) {
    lists_[kList] = {kList};
    StreamAddresses addresses = From(kList);
    EXPECT_EQ(addresses.Current(), kList);
    EXPECT_EQ(asked_.size(), 5u);
    EXPECT_FALSE(addresses.Next(true));
    EXPECT_EQ(asked_.size(), 5u);
}

TEST_F(StreamAddressesTest, OfManyAddressesTenAreTried) {
    for (int i = 0; i < 100; ++i) lists_[kList].push_back("http://b.example/" + std::to_string(i));
    StreamAddresses addresses = From(kList);
    addresses.Current();
    int more = 0;
    while (addresses.Next(false)) ++more;
    EXPECT_EQ(more, 9);
}

}  // namespace receiver
