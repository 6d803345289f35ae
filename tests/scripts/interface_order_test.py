"""The virtual operations of the runtime's interfaces keep their slots.

A runtime that was built apart calls by slot: a header with two operations exchanged still compiles,
and each of the two then does the other one's work.
"""

import pathlib
import re
import unittest

RUNTIME = pathlib.Path(__file__).resolve().parents[2] / "kel_server_lib" / "runtime"

JOB_CALLBACK = ["report", "~JobCallback"]

FACADE = """
    initialize
    startServer
    stopServer
    getProjectDetails
    commitServerSettings
    getProjectObjects
    getFlashInfo
    getFlashSessions
    executeFlashSessions
    performQuickTest
    applyInterfaceSettings
    connectVehicle
    beginProjectSelection
    commitProjectPath
    executeServiceSync
    executeService
    identifyVehicle
    cancelJobs
    getDataFolders
    createVehicleReport
    setServerHandler
    openUnlockSession
    releaseJob
    getDeviceInfo
    installUpdatePackages
    prepareUpdatePackages
    startSovdServer
    stopSovdServer
    getProjects
    getServerVersion
    getSelectedProjectName
    selectProject
    getServerSettings
    setServerSettings
    selectVehicleInformation
    getTargets
    getActiveConnections
    getProjectPath
    setProjectPath
    getInterfaceSettings
    setInterfaceSettings
    setTargetFilters
    getComponentVersions
    getServerConfiguration
    setServerStatus
    ~KelApi
""".split()

HANDLER = """
    onNotification0
    onNotification1
    startSequence
    cancelSequence
    onNotification4
    onNotification5
    ~ServerHandler
""".split()


def without_comments(text):
    return re.sub(r"//[^\n]*|/\*.*?\*/", "", text, flags=re.S)


def virtual_operations(text):
    """Names in the order of their declarations."""
    return re.findall(r"\bvirtual\b[^;{(]*?(~?\w+)\s*\(", without_comments(text))


class InterfaceOrder(unittest.TestCase):
    maxDiff = None

    def operations_of(self, header):
        return virtual_operations((RUNTIME / header).read_text(encoding="utf-8"))

    def test_the_facade_has_its_45_operations_in_order(self):
        self.assertEqual(len(FACADE), 45 + 1)
        self.assertEqual(self.operations_of("KelApi.hpp"), JOB_CALLBACK + FACADE)

    def test_the_handler_has_its_six_operations_in_order_and_the_destructor_last(self):
        self.assertEqual(self.operations_of("ServerHandler.hpp"), HANDLER)

    def test_sees_operations_that_were_exchanged(self):
        text = "virtual void b(int x) = 0; // virtual void c() = 0;\nvirtual List<T>\n    a() = 0;"
        self.assertEqual(virtual_operations(text), ["b", "a"])


if __name__ == "__main__":
    unittest.main()
