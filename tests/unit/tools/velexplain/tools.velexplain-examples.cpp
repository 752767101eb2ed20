#include "tools.velexplain-examples.hpp"

namespace Tools::VelExplain::Examples
{

namespace
{

constexpr const char* NetworkObjects = R"({
    "n1": {"uuid": "u-portal", "name": "Portal", "domains": ["portal.example", "portal.example"], "ips": ["192.0.2.1"]},
    "n2": {"uuid": "u-mail", "name": "Mail", "domains": [], "ips": []},
    "n3": {"uuid": "u-portal", "name": "Another of the same UUID", "domains": [], "ips": []}
})";

constexpr const char* Tests = R"({
    "/config/tests": {
        "/config/mtr/first": {"enabled": true, "priority": 1},
        "/config/mtr/second": {"enabled": true, "priority": 2},
        "/config/mtr/off": {"enabled": false, "priority": 3},
        "/config/mtr/other": {"enabled": true, "priority": 9},
        "/config/ete/all": {"enabled": true, "priority": 4},
        "/config/curl/own": {"enabled": true, "priority": -4}
    }
})";

constexpr const char* Tags = R"({"blue": "Blue team", "red": ""})";

constexpr const char* Groups = R"({"user": "CORP\\jo", "groups": ["Staff", "Sales"], "groupsTimestamp": "7"})";

constexpr const char* Mtr = R"({
    "second": {"netobj": "u-portal", "tags": ["/config/tags/blue"], "users": ["corp\\JO"], "groups": []},
    "first": {"netobj": "u-nowhere", "tags": [], "users": [], "groups": ["sales"]},
    "off": {"netobj": "u-portal", "tags": ["3fff553d-527b-432a-acda-466e7e784e2a"]},
    "other": {"netobj": "u-portal", "tags": ["/config/tags/green", "/config/tags/grey"], "instances": ["x"],
              "users": ["a", "b"], "groups": ["Board"]},
    "nousers": {"netobj": "u-portal", "tags": ["/config/tags/green"], "groups": ["Staff"]},
    "split": {"netobj": "u-portal", "tags": ["/config/tags/blue"], "mtr": {"split_tunnel": true}},
    "nonet": {"tags": []},
    "notags": {"netobj": "u-mail"},
    "dropped": {"netobj": "u-mail", "tags": ["3fff553d-527b-432a-acda-466e7e784e2a"]}
})";

constexpr const char* Curl =
    R"({"own": {"netobj": "u-mail", "tags": [], "instances": ["5f0c5a52-0000-4000-8000-000000000001"]}})";

constexpr const char* Ete = R"({"all": {"netobj": "u-mail", "tags": ["3fff553d-527b-432a-acda-466e7e784e2a"]}})";

} // namespace

std::string MakeAnswer(const std::string& entries)
{
    return std::string(R"({"success": true, "values": {")") + Agent + R"(": )" + entries + "}}";
}

Answers MakeAnswers()
{
    Answers answers;
    answers.byRequest = {
        {Request::NetworkObjects, {"network-objects.json", MakeAnswer(NetworkObjects)}},
        {Request::Tests, {"tests.json", MakeAnswer(Tests)}},
        {Request::Tags, {"tags.json", MakeAnswer(Tags)}},
        {Request::UserGroups, {"user-groups.json", Groups}},
        {Request::Mtr, {"mtr.json", MakeAnswer(Mtr)}},
        {Request::Curl, {"curl.json", MakeAnswer(Curl)}},
        {Request::Ete, {"ete.json", MakeAnswer(Ete)}}};
    return answers;
}

} // namespace Tools::VelExplain::Examples
