#include "libSysmira/enumeration/ConfigManager.h"

#include <algorithm>
#include <cstdint>

#include "tests/behaviour/SimulatedPc.h"

namespace {

using libSysmira::ConfigManager;
using Nodes = std::vector<DEVINST>;

Nodes childrenOf(DEVINST node) {
    zor::Array<DEVINST> children{4711, 4712};  // must not survive
    ConfigManager::getChildren(node, children);
    return {children.begin(), children.end()};
}

// "depth ID" of each node that the walk reports.
Strings walk(bool skipHidden) {
    Strings visited;
    ConfigManager::forEach(
        [](DEVINST node, unsigned depth, void* context) {
            const std::string id = simulation::toUtf8(simulation::machine().node(node)->instanceId);
            static_cast<Strings*>(context)->push_back(std::to_string(depth) + " " + id);
        },
        &visited, skipHidden);
    return visited;
}

// Absent devices in every place, and a hidden one with a child.
class DeviceTreeWalk : public SimulatedPc {
protected:
    void SetUp() override {
        SimulatedPc::SetUp();
        a = add(u"A\\1").handle;
        add(u"A\\1\\CHILD", a);
        goneChild = add(u"GONE\\1\\CHILD", makeAbsent(add(u"GONE\\1")).handle).handle;
        gone = makeAbsent(add(u"GONE\\2")).handle;
        DeviceNode& disabled = add(u"B\\1");
        disabled.status = DN_HAS_PROBLEM;
        disabled.problem = CM_PROB_DISABLED;
        b = disabled.handle;
        makeAbsent(add(u"B\\1\\GONE", b));
        hidden = makeHidden(add(u"HIDDEN\\1")).handle;
        add(u"HIDDEN\\1\\CHILD", hidden);
        makeAbsent(add(u"GONE\\3"));
    }

    DEVINST a = 0, goneChild = 0, gone = 0, b = 0, hidden = 0;
};

TEST_F(DeviceTreeWalk, PassesOverAbsentNodesWithAllThatIsBelowThem) {
    EXPECT_EQ(ConfigManager::getRootNode(), root);
    EXPECT_EQ(ConfigManager::getChildNode(root), a);
    EXPECT_EQ(ConfigManager::getSiblingNode(a), b);
    EXPECT_EQ(ConfigManager::getSiblingNode(hidden), 0u) << "none but an absent one follows";
    EXPECT_EQ(ConfigManager::getChildNode(b), 0u);
    EXPECT_EQ(childrenOf(b), Nodes());
    EXPECT_EQ(childrenOf(root), (Nodes{a, b, hidden}));
    EXPECT_EQ(simulation::machine().node(ConfigManager::getParentNode(goneChild))->instanceId, u"GONE\\1")
        << "on the way up nothing is passed over";

    Strings expected = {"0 HTREE\\ROOT\\0", "1 A\\1",      "2 A\\1\\CHILD",
                        "1 B\\1",           "1 HIDDEN\\1", "2 HIDDEN\\1\\CHILD"};
    EXPECT_EQ(walk(false), expected);
    expected.erase(expected.begin() + 4);
    EXPECT_EQ(walk(true), expected) << "what is below a hidden node is walked all the same";

    machine.node(gone)->statusUnreadable = true;
    EXPECT_EQ(childrenOf(root), (Nodes{a, gone, b, hidden})) << "of unknown status means present";
    makeAbsent(*machine.node(a));
    EXPECT_EQ(ConfigManager::getChildNode(root), gone) << "an absent first child is passed over, too";
    makeAbsent(*machine.node(root));
    EXPECT_EQ(walk(true), (Strings{"1 GONE\\2", "1 B\\1", "2 HIDDEN\\1\\CHILD"}))
        << "an absent root is not reported, but walked";
}

TEST_F(DeviceTreeWalk, AsksForEachChildOnceAndForItsStatusOnce) {
    forgetCalls();
    childrenOf(hidden);
    EXPECT_EQ(callNames(), (Strings{"CM_Get_Child", "CM_Get_DevNode_Status", "CM_Get_Sibling"}));
    forgetCalls();
    childrenOf(root);
    EXPECT_EQ(calls("CM_Get_Child"), 1u);
    EXPECT_EQ(argumentsOf("CM_Get_DevNode_Status").size(), 6u) << "three present, three absent children";
    EXPECT_EQ(calls("CM_Get_Sibling"), 6u);
    EXPECT_EQ(callNames().size(), 13u);
}

TEST_F(DeviceTreeWalk, UsesNoStackForLongRunsOfAbsentSiblingsAndDeepChains) {
#ifdef _WIN32
    constexpr unsigned many = 4000;  // the checked heap of the test prefix takes minutes for more
#else
    constexpr unsigned many = 100000;
#endif
    const DEVINST parent = add(u"MANY\\0", hidden).handle;
    for (unsigned i = 0; i < many; ++i) {
        makeAbsent(add(u"MANY\\" + simulation::fromUtf8(std::to_string(i + 1)), parent));
    }
    const DEVINST end = add(u"MANY\\END", parent).handle;
    DEVINST deepest = add(u"DEEP\\0", b).handle;
    for (unsigned i = 1; i < many; ++i) {
        deepest = add(u"DEEP\\" + simulation::fromUtf8(std::to_string(i)), deepest).handle;
    }

    struct Seen {
        unsigned nodes = 0, depth = 0;
        std::uintptr_t lowest = UINTPTR_MAX, highest = 0;
    } seen;
    unwatched([&] {
        EXPECT_EQ(ConfigManager::getChildNode(parent), end);
        EXPECT_EQ(childrenOf(parent), Nodes{end});
        ConfigManager::forEach(
            [](DEVINST, unsigned depth, void* context) {
                auto& state = *static_cast<Seen*>(context);
                const auto here = reinterpret_cast<std::uintptr_t>(&depth);
                ++state.nodes;
                state.depth = std::max(state.depth, depth);
                state.lowest = std::min(state.lowest, here);
                state.highest = std::max(state.highest, here);
            },
            &seen, /*skipHidden=*/true);
    });
    EXPECT_EQ(seen.nodes, many + 7);
    EXPECT_EQ(seen.depth, many + 1);
    EXPECT_LT(seen.highest - seen.lowest, 1024u);
}

TEST_F(DeviceTreeWalk, EndsWhenWindowsSaysSuccessAndWritesNothing) {
    distort("", Distortion::NothingWritten, 1, true);
    EXPECT_EQ(ConfigManager::getRootNode(), 0u);
    EXPECT_EQ(walk(false), Strings());
    EXPECT_EQ(childrenOf(root), Nodes());
    EXPECT_EQ(ConfigManager::getParentNode(a), 0u);
    zor::String id("before");
    EXPECT_FALSE(ConfigManager::getParentDeviceInstanceId(a, id));
    EXPECT_EQ(id, "before");
    unsigned problem = 4711;
    EXPECT_FALSE(ConfigManager::hasDriverProblem(gone, &problem));
    EXPECT_EQ(problem, 4711u);
    EXPECT_FALSE(ConfigManager::isHidden(hidden));
    // The root alone is found: the tree is the root.
    clearFaults();
    distort("CM_Get_Child", Distortion::NothingWritten, 1, true);
    EXPECT_EQ(walk(false), Strings{"0 HTREE\\ROOT\\0"});
}

TEST_F(DeviceTreeWalk, EndsWhereANodeIsItsOwnNeighbour) {
    machine.node(b)->nextSibling = b;
    machine.node(a)->firstChild = a;
    machine.node(root)->nextSibling = root;
    machine.node(root)->parent = root;
    EXPECT_EQ(childrenOf(root), (Nodes{a, b}));
    EXPECT_EQ(walk(false), (Strings{"0 HTREE\\ROOT\\0", "1 A\\1", "1 B\\1"}));
    EXPECT_EQ(ConfigManager::getParentNode(root), 0u);
    machine.node(gone)->nextSibling = gone;
    machine.node(root)->firstChild = gone;
    EXPECT_EQ(ConfigManager::getChildNode(root), 0u);
}

// A tree that changes under the walk, or a driver at fault, can lead back to where the walk was.
TEST_F(DeviceTreeWalk, EndsWhereTheTreeLeadsBack) {
    const Strings once = {"0 HTREE\\ROOT\\0", "1 A\\1",      "2 A\\1\\CHILD",
                          "1 B\\1",           "1 HIDDEN\\1", "2 HIDDEN\\1\\CHILD"};
    machine.node(hidden)->nextSibling = a;  // three present siblings, and absent ones among them
    EXPECT_EQ(childrenOf(root), (Nodes{a, b, hidden}));
    EXPECT_EQ(walk(false), once);
    machine.node(hidden)->nextSibling = b;  // the circle begins behind the first
    EXPECT_EQ(childrenOf(root), (Nodes{a, b, hidden}));
    EXPECT_EQ(walk(false), once);
    machine.node(hidden)->nextSibling = 0;
    machine.node(machine.node(a)->firstChild)->firstChild = root;
    EXPECT_EQ(walk(false), once) << "a node below is the root again";
    machine.node(gone)->nextSibling = machine.node(goneChild)->parent;
    machine.node(machine.node(goneChild)->parent)->nextSibling = gone;
    EXPECT_EQ(childrenOf(root), Nodes{a}) << "two absent siblings lead to each other";
    EXPECT_EQ(ConfigManager::getSiblingNode(a), 0u);
}

class DeviceNodeIdentity : public SimulatedPc {};

TEST_F(DeviceNodeIdentity, FindsNodesByIdAndTellsTheIdOfNodeAndParent) {
    const DEVINST bus = add(u"PCI\\BUS\\0").handle;
    const DEVINST device = add(u"USB\\Ger\u00E4t\\1", bus).handle;
    DeviceNode phantom;
    phantom.instanceId = u"USB\\GHOST\\1";
    phantom.phantom = true;
    machine.add(phantom, bus);

    EXPECT_EQ(ConfigManager::findByDeviceInstanceId(zorText(u"usb\\GER\u00C4T\\1")), device);
    EXPECT_EQ(ConfigManager::findByDeviceInstanceId(""), root) << "to Windows the empty ID is the root's";
    EXPECT_EQ(ConfigManager::findByDeviceInstanceId("USB\\GHOST\\1"), 0u);
    EXPECT_EQ(ConfigManager::findByDeviceInstanceId("USB\\NONE\\1"), 0u);

    zor::String id("before");
    EXPECT_TRUE(ConfigManager::getDeviceInstanceId(device, id));
    EXPECT_EQ(id, zorText(u"USB\\Ger\u00E4t\\1"));
    EXPECT_TRUE(ConfigManager::getParentDeviceInstanceId(device, id));
    EXPECT_EQ(id, "PCI\\BUS\\0");
    EXPECT_TRUE(ConfigManager::getParentDeviceInstanceId(zor::String("PCI\\BUS\\0"), id));
    EXPECT_EQ(id, "HTREE\\ROOT\\0");
}

TEST_F(DeviceNodeIdentity, LeavesTheOutputAloneOnFailure) {
    const DEVINST device = add(u"USB\\1\\1").handle;
    zor::String id("before");
    EXPECT_FALSE(ConfigManager::getDeviceInstanceId(0, id));
    EXPECT_FALSE(ConfigManager::getDeviceInstanceId(4711, id));
    EXPECT_FALSE(ConfigManager::getParentDeviceInstanceId(root, id)) << "the root has no parent";
    EXPECT_FALSE(ConfigManager::getParentDeviceInstanceId(zor::String("USB\\NONE\\1"), id));
    failCall("CM_Get_Device_IDW", CR_FAILURE);
    EXPECT_FALSE(ConfigManager::getParentDeviceInstanceId(device, id));
    const Text longest(1023, u'x');
    EXPECT_FALSE(ConfigManager::getDeviceInstanceId(add(longest + u"x").handle, id)) << "no room for its end";
    EXPECT_EQ(id, "before");
    EXPECT_TRUE(ConfigManager::getDeviceInstanceId(add(longest).handle, id));
    EXPECT_EQ(id, zorText(longest));
    distort("CM_Get_Device_IDW", Distortion::NoTerminator);
    EXPECT_TRUE(ConfigManager::getDeviceInstanceId(root, id));
    EXPECT_EQ(id.size(), 1024u);
}

TEST_F(DeviceNodeIdentity, JudgesStatusAndProblem) {
    const struct {
        DWORD status, problem;
        bool hidden, disabled, troubled;
    } cases[] = {
        {DN_STARTED, 0, false, false, false},
        {DN_NO_SHOW_IN_DM, 0, true, false, false},
        {DN_MOVED, 0, true, false, false},
        {DN_HAS_PROBLEM, CM_PROB_DISABLED, false, true, true},
        {DN_HAS_PROBLEM, CM_PROB_HARDWARE_DISABLED, false, true, true},
        {DN_HAS_PROBLEM, CM_PROB_DEVICE_NOT_THERE, false, false, true},
        {DN_HAS_PROBLEM | DN_NO_SHOW_IN_DM, CM_PROB_FAILED_INSTALL, true, false, true},
        {DN_HAS_PROBLEM, 0, false, false, true},
        {DN_STARTED, CM_PROB_DISABLED, false, false, false},
    };
    DeviceNode& node = add(u"A\\1");
    for (const auto& one : cases) {
        SCOPED_TRACE(testing::Message() << std::hex << one.status << " " << std::dec << one.problem);
        node.status = one.status;
        node.problem = one.problem;
        EXPECT_EQ(ConfigManager::isHidden(node.handle), one.hidden);
        EXPECT_EQ(ConfigManager::isDisabled(node.handle), one.disabled);
        EXPECT_EQ(ConfigManager::hasDriverProblem(node.handle, nullptr), one.troubled);
        unsigned problem = 4711;
        EXPECT_EQ(ConfigManager::hasDriverProblem(node.handle, &problem), one.troubled);
        EXPECT_EQ(problem, one.troubled ? one.problem : 4711u);

        node.statusUnreadable = true;
        EXPECT_FALSE(ConfigManager::isHidden(node.handle) || ConfigManager::isDisabled(node.handle) ||
                     ConfigManager::hasDriverProblem(node.handle, &problem));
        node.statusUnreadable = false;
    }
}

TEST_F(DeviceNodeIdentity, ScansFromTheRootAndTellsOfEitherFailure) {
    EXPECT_TRUE(ConfigManager::scanForHardwareChanges());
    EXPECT_EQ(argumentsOf("CM_Locate_DevNodeW"), Strings{"null, 0"});
    EXPECT_EQ(argumentsOf("CM_Reenumerate_DevNode"), Strings{std::to_string(root) + ", 0"});
    failCall("CM_Reenumerate_DevNode", CR_ACCESS_DENIED);
    EXPECT_FALSE(ConfigManager::scanForHardwareChanges());
    machine.noDeviceTree = true;
    forgetCalls();
    EXPECT_FALSE(ConfigManager::scanForHardwareChanges());
    EXPECT_EQ(walk(false), Strings());
    EXPECT_EQ(callNames(), Strings(2, "CM_Locate_DevNodeW"));
}

class DeviceNodeProperties : public SimulatedPc {
protected:
    DeviceNode& device(DWORD property, RegistryValue value) {
        DeviceNode& node = add(u"A\\" + simulation::fromUtf8(std::to_string(++m_count)));
        node.properties[property] = std::move(value);
        return node;
    }

private:
    int m_count = 0;
};

TEST_F(DeviceNodeProperties, ComeFromTheirOwnNumbers) {
    DeviceNode& node = add(u"A\\1");
    for (DWORD property = 0; property < SPDRP_MAXIMUM_PROPERTY; ++property) {
        node.text(property, u"property " + simulation::fromUtf8(std::to_string(property)));
    }
    node.texts(SPDRP_HARDWAREID, {u"hardware", u"IDs"}).texts(SPDRP_COMPATIBLEIDS, {u"compatible"});
    const struct {
        bool (*read)(DEVINST, zor::String&);
        DWORD property;
    } texts[] = {
        {ConfigManager::getDescription, SPDRP_DEVICEDESC},
        {ConfigManager::getFriendlyName, SPDRP_FRIENDLYNAME},
        {ConfigManager::getServiceName, SPDRP_SERVICE},
        {ConfigManager::getClass, SPDRP_CLASS},
        {ConfigManager::getDriverKey, SPDRP_DRIVER},
        {ConfigManager::getLocation, SPDRP_LOCATION_INFORMATION},
        {ConfigManager::getEnumerator, SPDRP_ENUMERATOR_NAME},
    };
    for (const auto& one : texts) {
        zor::String text("before");
        EXPECT_TRUE(one.read(node.handle, text));
        EXPECT_EQ(plain(text), "property " + std::to_string(one.property));
        EXPECT_FALSE(one.read(0, text));
        EXPECT_EQ(text, "") << "cleared on failure";
    }
    zor::String guid;
    node.text(SPDRP_CLASSGUID, u"{4d36e967-e325-11ce-bfc1-08002be10318}");
    EXPECT_TRUE(ConfigManager::getClassGuid(node.handle, guid));
    EXPECT_EQ(guid, "{4D36E967-E325-11CE-BFC1-08002BE10318}");

    zor::Array<zor::String> ids = usedArray();
    EXPECT_TRUE(ConfigManager::getHardwareIds(node.handle, ids));
    EXPECT_EQ(plain(ids), (Strings{"hardware", "IDs"}));
    EXPECT_TRUE(ConfigManager::getCompatibleIds(node.handle, ids));
    EXPECT_EQ(plain(ids), Strings{"compatible"});
    EXPECT_FALSE(ConfigManager::getHardwareIds(root, ids));
    EXPECT_TRUE(ids.empty());
}

TEST_F(DeviceNodeProperties, OfAnyContentAreReadWithinTheirBounds) {
    const struct {
        const char* what;
        simulation::Bytes bytes;
        std::string text;
        Strings texts;
    } cases[] = {
        {"nothing", {}, "", {}},
        {"one byte", {'a'}, "", {}},
        {"a terminator", {0, 0}, "", {}},
        {"two terminators and text", bytesOf({0, 0, u'a', 0}), "", {}},
        {"no terminator", bytesOf(u"ab"), "ab", {"ab"}},
        {"no last terminator", bytesOf({u'a', 0, u'b'}), "a", {"a", "b"}},
        {"one terminator at the end", bytesOf({u'a', 0, u'b', 0}), "a", {"a", "b"}},
        {"half a unit at the end", {'a', 0, 'b', 0, 0}, "ab", {"ab"}},
        {"an empty text in the middle", bytesOf({u'a', 0, 0, u'b', 0, 0}), "a", {"a"}},
        {"lone surrogates", bytesOf({0xD800, 0, 0xDC00, 0, 0}), "\uFFFD", {"\uFFFD", "\uFFFD"}},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.what);
        DeviceNode& node = device(SPDRP_DEVICEDESC, {REG_SZ, one.bytes});
        node.properties[SPDRP_HARDWAREID] = {REG_MULTI_SZ, one.bytes};
        zor::String text("before");
        EXPECT_TRUE(ConfigManager::getDescription(node.handle, text)) << "an empty text is a text";
        EXPECT_EQ(plain(text), one.text);
        zor::Array<zor::String> texts = usedArray();
        EXPECT_EQ(ConfigManager::getHardwareIds(node.handle, texts), !one.texts.empty());
        EXPECT_EQ(plain(texts), one.texts);
    }
}

TEST_F(DeviceNodeProperties, BeyondTheBufferAreReadOnlyWhenMemoryIsSaidToLack) {
    const Text fits(1023, u'f'), tooLong(1024, u'l');
    DeviceNode& node = device(SPDRP_DEVICEDESC, RegistryValue::text(fits));
    zor::String text;
    EXPECT_TRUE(ConfigManager::getDescription(node.handle, text));
    EXPECT_EQ(text, zorText(fits));

    node.text(SPDRP_DEVICEDESC, tooLong).texts(SPDRP_HARDWAREID, {tooLong, u"second"});
    forgetCalls();
    zor::Array<zor::String> texts = usedArray();
    EXPECT_FALSE(ConfigManager::getDescription(node.handle, text));
    EXPECT_EQ(text, "");
    EXPECT_FALSE(ConfigManager::getHardwareIds(node.handle, texts));
    EXPECT_TRUE(texts.empty());
    EXPECT_EQ(callNames().size(), 2u) << "\"too small\" is not asked again";

    machine.propertyDoesNotFit = CR_OUT_OF_MEMORY;
    forgetCalls();
    EXPECT_TRUE(ConfigManager::getDescription(node.handle, text));
    EXPECT_EQ(text, zorText(tooLong));
    EXPECT_TRUE(ConfigManager::getHardwareIds(node.handle, texts));
    EXPECT_EQ(texts.size(), 2u);
    EXPECT_EQ(callNames().size(), 4u);

    // The second call's failure, whatever its code, is the end.
    for (const CONFIGRET code : {CR_OUT_OF_MEMORY, CR_BUFFER_SMALL, CR_FAILURE}) {
        clearFaults();
        forgetCalls();
        failCall("CM_Get_DevNode_Registry_PropertyW", code, 2);
        EXPECT_FALSE(ConfigManager::getDescription(node.handle, text));
        EXPECT_EQ(text, "");
        EXPECT_EQ(callNames().size(), 2u);
    }
    clearFaults();
    distort("CM_Get_DevNode_Registry_PropertyW", Distortion::SizeTooLarge, 2);
    EXPECT_FALSE(ConfigManager::getHardwareIds(node.handle, texts)) << "more than there was room for";
    EXPECT_TRUE(texts.empty());
    clearFaults();
    forgetCalls();
    distort("CM_Get_DevNode_Registry_PropertyW", Distortion::SizeTooLarge, 1);
    EXPECT_FALSE(ConfigManager::getDescription(node.handle, text)) << "4 GiB are asked for";
    EXPECT_EQ(callNames().size(), 1u);
}

TEST_F(DeviceNodeProperties, SurviveWrongLengths) {
    DeviceNode& node = device(SPDRP_DEVICEDESC, RegistryValue::text(u"text"));
    const std::pair<Distortion, Text> cases[] = {
        {Distortion::NothingWritten, u""},
        {Distortion::SizeTooLarge, u"text"},
        {Distortion::SizeZero, u""},
        {Distortion::OddSize, u"text"},
        {Distortion::NoTerminator, u"text" + Text(1020, 0x7878)},
    };
    for (const auto& [distortion, expected] : cases) {
        clearFaults();
        distort("CM_Get_DevNode_Registry_PropertyW", distortion);
        zor::String text("before");
        EXPECT_TRUE(ConfigManager::getDescription(node.handle, text));
        EXPECT_EQ(text, zorText(expected)) << static_cast<unsigned>(distortion);
    }
}

class DeviceNodeRelations : public SimulatedPc {
protected:
    static Strings read(bool (*relations)(DEVINST, zor::Array<zor::String>&), DEVINST node, bool success) {
        zor::Array<zor::String> ids = usedArray();
        EXPECT_EQ(relations(node, ids), success);
        return plain(ids);
    }
};

TEST_F(DeviceNodeRelations, AreThoseThatWereAskedFor) {
    DeviceNode& node = add(u"A\\1");
    EXPECT_EQ(read(ConfigManager::getBusRelations, node.handle, true), Strings()) << "none is an answer";
    add(u"B\\1", node.handle);
    makeAbsent(add(u"B\\2", node.handle));
    node.removalRelations = {u"R\\1", u"R\\2", u"R\\1"};
    node.ejectionRelations = {u"E\\1"};
    EXPECT_EQ(read(ConfigManager::getRemovalRelations, node.handle, true), (Strings{"R\\1", "R\\2", "R\\1"}));
    EXPECT_EQ(read(ConfigManager::getBusRelations, node.handle, true), (Strings{"B\\1", "B\\2"}));
    EXPECT_EQ(read(ConfigManager::getEjectionRelations, node.handle, true), Strings{"E\\1"});
}

TEST_F(DeviceNodeRelations, FailWithEachOfTheirCallsAndAreEmptyThen) {
    DeviceNode& node = add(u"A\\1");
    node.removalRelations = {u"R\\1"};
    for (const char* function :
         {"CM_Get_Device_IDW", "CM_Get_Device_ID_List_SizeW", "CM_Get_Device_ID_ListW"}) {
        clearFaults();
        forgetCalls();
        failCall(function, CR_BUFFER_SMALL);  // of the last: the list has grown
        EXPECT_EQ(read(ConfigManager::getRemovalRelations, node.handle, false), Strings());
        EXPECT_EQ(callNames().back(), function) << "nothing is asked after a failure";
    }
    EXPECT_EQ(read(ConfigManager::getRemovalRelations, 0, false), Strings());
}

TEST_F(DeviceNodeRelations, SurviveWrongSizes) {
    DeviceNode& node = add(u"A\\1");
    node.removalRelations = {u"R\\1"};
    distort("CM_Get_Device_ID_List_SizeW", Distortion::SizeZero);
    EXPECT_EQ(read(ConfigManager::getRemovalRelations, node.handle, false), Strings());
    EXPECT_EQ(calls("CM_Get_Device_ID_ListW"), 1u) << "a list of no length is asked for all the same";
    clearFaults();
    forgetCalls();
    distort("CM_Get_Device_ID_List_SizeW", Distortion::SizeTooLarge);
    EXPECT_EQ(read(ConfigManager::getRemovalRelations, node.handle, false), Strings()) << "an absurd size";
    EXPECT_EQ(calls("CM_Get_Device_ID_ListW"), 0u);
    clearFaults();
    distort("CM_Get_Device_ID_ListW", Distortion::NothingWritten);
    EXPECT_EQ(read(ConfigManager::getRemovalRelations, node.handle, true), Strings());
    clearFaults();
    distort("CM_Get_Device_ID_ListW", Distortion::NoTerminator);
    EXPECT_EQ(read(ConfigManager::getRemovalRelations, node.handle, true).front(), "R\\1");
    clearFaults();
    forgetCalls();
    distort("CM_Get_Device_IDW", Distortion::NoTerminator);
    EXPECT_EQ(read(ConfigManager::getRemovalRelations, node.handle, false), Strings());
    EXPECT_EQ(simulation::fromUtf8(argumentsOf("CM_Get_Device_ID_List_SizeW").front()).size(), 1023u + 3u)
        << "the text of one buffer, and \", 8\"";
}

}  // namespace
