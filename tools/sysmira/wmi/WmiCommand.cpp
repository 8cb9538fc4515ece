#include "tools/sysmira/wmi/WmiCommand.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>

#include "libSysmira/wmi/Wmi.h"
#include "support/RaisedException.h"
#include "tools/sysmira/CommandFailure.h"
#include "tools/sysmira/Interruption.h"
#include "tools/sysmira/Target.h"
#include "tools/sysmira/text/PrintableText.h"
#include "tools/sysmira/wmi/ComErrorNames.h"
#include "tools/sysmira/wmi/WmiParameters.h"
#include "tools/sysmira/wmi/WmiReader.h"

namespace sysmira {

using Json = nlohmann::ordered_json;
using libSysmira::getLastWmiResult;
using libSysmira::WmiNamespace;
using libSysmira::WmiObject;
using libSysmira::WmiQueryResult;

namespace {

// How long one wait for a notification is: Ctrl+C is seen between two.
constexpr DWORD longestWaitMs = 200;

[[noreturn]] void fail(const std::string& what) {
    const HRESULT result = getLastWmiResult();
    throw CommandFailure(NotRead, what + ": " + describeResult(result), causeOfResult(result));
}

std::string inQuotes(const std::string& text) { return "\"" + text + "\""; }

void checkUsage(const WmiRequest& request) {
    if (request.namespacePath.empty() || request.query.empty()) {
        throw CommandFailure(WrongUsage,
                             "\"sysmira wmi\" needs a namespace and a query, as in: "
                             "sysmira wmi root/cimv2 \"select * from Win32_DiskDrive\"");
    }
    if (request.events && !request.method.empty()) {
        throw CommandFailure(WrongUsage, "\"--events\" and \"--call\" exclude each other");
    }
    if (request.timeoutMs && !request.events) {
        throw CommandFailure(WrongUsage, "\"--timeout\" is for \"--events\"");
    }
    if (!request.parameters.empty() && request.method.empty()) {
        throw CommandFailure(WrongUsage, "unexpected argument " + inQuotes(request.parameters.front()) +
                                             "; parameters are for \"--call\"");
    }
}

std::unique_ptr<WmiNamespace> connected(const WmiRequest& request) {
    std::unique_ptr<WmiNamespace> wmi;
    try {
        wmi = std::make_unique<WmiNamespace>();
    } catch (const libSysmira::InitializationError&) {
        fail("WMI cannot be reached");
    }
    if (!wmi->connect(zor::String::fromUTF8(request.namespacePath))) {
        fail("the namespace " + inQuotes(request.namespacePath) + " cannot be opened");
    }
    return wmi;
}

std::vector<WmiObject> readObjects(const WmiRequest& request) {
    const auto wmi = connected(request);
    WmiQueryResult result;
    if (!wmi->query(zor::String::fromUTF8(request.query), result)) {
        fail("the query " + inQuotes(request.query) + " cannot be run");
    }
    std::vector<WmiObject> objects;
    WmiObject object;
    while (result.next(object, static_cast<DWORD>(WBEM_INFINITE))) objects.push_back(object);
    // That a query is wrong may come to light only now.
    if (getLastWmiResult() != WBEM_S_FALSE) {
        fail("the objects of the query " + inQuotes(request.query) + " cannot be read");
    }
    return objects;
}

// The head of a document.
Json toDocument(const WmiRequest& request) {
    return {{"namespace", request.namespacePath}, {"query", request.query}};
}

std::string headingOf(const WmiObjectFacts& facts) {
    return facts.className.empty() ? "(no class)" : facts.className;
}

void printObjects(const WmiRequest& request, Output& output) {
    const std::vector<WmiObject> objects = readObjects(request);
    std::string text;
    Json list = Json::array();
    for (const WmiObject& object : objects) {
        const WmiObjectFacts facts = readWmiObject(object.getObject());
        if (output.wantsJson()) {
            list.push_back(toJson(facts));
        } else {
            text += (text.empty() ? "" : "\n") + toText(facts, headingOf(facts));
        }
    }
    if (output.wantsJson()) {
        Json document = toDocument(request);
        document["objects"] = std::move(list);
        return output.printDocument(document);
    }
    if (objects.empty()) return output.remark("the query finds no objects");
    output.print(text);
}

void printEvent(const WmiObject& event, Output& output) {
    const WmiObjectFacts facts = readWmiObject(event.getObject());
    if (output.wantsJson()) {
        output.printLine(toJson(facts));
    } else {
        output.print(toText(facts, headingOf(facts)) + "\n");
    }
}

void printEvents(const WmiRequest& request, Output& output) {
    const auto wmi = connected(request);
    const InterruptionNoted interruption;
    WmiQueryResult result;
    if (!wmi->queryForEvents(zor::String::fromUTF8(request.query), result)) {
        fail("the notification query " + inQuotes(request.query) + " cannot be run");
    }
    constexpr unsigned forEver = std::numeric_limits<unsigned>::max();
    unsigned left = request.timeoutMs.value_or(forEver);
    WmiObject event;
    while (!InterruptionNoted::happened()) {
        const DWORD wait = std::min<DWORD>(left, longestWaitMs);
        if (result.next(event, wait)) {
            printEvent(event, output);
            left = request.timeoutMs.value_or(forEver);
            continue;
        }
        if (getLastWmiResult() != WBEM_S_TIMEDOUT) {
            fail("the notifications of the query " + inQuotes(request.query) + " cannot be read");
        }
        if (request.timeoutMs) {
            left -= wait;
            if (left == 0) return;
        } else {
            keepPace(wait);
        }
    }
}

// A call that is ready to be made.
struct PreparedCall {
    WmiObject object;
    std::string path;
    WmiObject inParams;
    bool hasInParams = false;
};

PreparedCall prepareCall(const WmiObject& object, const std::string& method,
                         const std::vector<WmiParameter>& parameters) {
    PreparedCall call;
    call.object = object;
    zor::String path;
    if (!object.getPath(path)) {
        throw CommandFailure(NotRead,
                             "the query gives objects without a path, on which no method can be called; "
                             "\"select *\" or one with their keys gives paths");
    }
    call.path = toUtf8(path);
    call.hasInParams = object.getMethodInputParams(zor::String::fromUTF8(method), call.inParams);
    if (!call.hasInParams && FAILED(getLastWmiResult())) {
        fail("the method " + inQuotes(method) + " of " + inQuotes(call.path) + " is not known");
    }
    if (call.hasInParams) {
        putParameters(call.inParams.getObject(), method, parameters);
    } else if (!parameters.empty()) {
        throw CommandFailure(NotRead,
                             "the method " + inQuotes(method) + " takes no input parameters: " +
                                 describeResult(static_cast<HRESULT>(WBEM_E_INVALID_METHOD_PARAMETERS)));
    }
    return call;
}

// What the method returned; nothing of a method that returns nothing.
WmiObjectFacts made(const PreparedCall& call, const std::string& method) {
    const zor::String name = zor::String::fromUTF8(method);
    WmiObject returned;
    bool done = false;
    try {
        done = call.hasInParams ? call.object.execMethod(name, call.inParams, returned)
                                : call.object.execMethod(name, returned);
    } catch (const zor::RaisedException&) {
        // The library takes it for misuse that a method has succeeded without an object to return.
        if (getLastWmiResult() != WBEM_S_NO_ERROR) throw;
        return {};
    }
    if (!done) fail("the method " + inQuotes(method) + " of " + inQuotes(call.path) + " cannot be called");
    return readWmiObject(returned.getObject());
}

// What the calls returned so far.
class CallReport {
public:
    CallReport(const WmiRequest& request, Output& output) : m_request(request), m_output(output) {}

    void add(const std::string& path, const WmiObjectFacts& returned) {
        if (m_output.wantsJson()) {
            Json properties = toJson(returned)["properties"];
            m_calls.push_back({{"path", path}, {"returned", std::move(properties)}});
        } else {
            m_text += (m_text.empty() ? "" : "\n") + toText(returned, path);
        }
    }

    void print() {
        if (m_output.wantsJson()) {
            Json document = toDocument(m_request);
            document["method"] = m_request.method;
            document["calls"] = m_calls;
            m_output.printDocument(document);
        } else if (!m_text.empty()) {
            m_output.print(m_text);
        } else {
            m_output.remark("the query finds no objects");
        }
    }

    bool empty() const { return m_text.empty() && m_calls.empty(); }

private:
    const WmiRequest& m_request;
    Output& m_output;
    std::string m_text;
    Json m_calls = Json::array();
};

void callMethod(const WmiRequest& request, Output& output) {
    const std::vector<WmiParameter> parameters = parseParameters(request.parameters);
    // Nothing is called before all that can be checked is checked.
    std::vector<PreparedCall> calls;
    for (const WmiObject& object : readObjects(request)) {
        calls.push_back(prepareCall(object, request.method, parameters));
    }
    CallReport report(request, output);
    try {
        for (const PreparedCall& call : calls) {
            report.add(call.path, made(call, request.method));
        }
    } catch (const CommandFailure&) {
        if (!report.empty()) report.print();
        throw;
    }
    report.print();
}

}  // namespace

void runWmi(const WmiRequest& request, Output& output) {
    checkUsage(request);
    if (request.events) return printEvents(request, output);
    if (!request.method.empty()) return callMethod(request, output);
    printObjects(request, output);
}

}  // namespace sysmira
