"""scripts/install-dependencies with a package system that only records its commands."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

import scriptrun

NOBODY = 65534

FAKES = {
    # Everything requested is installed, except what $LACKING names (as a pattern).
    "dpkg-query": 'for name in "${@:3}"; do [[ $name == ${LACKING-} ]] || echo "${name%:*} ${name#*:} ii "; done',
    # An installation adds services, which it starts unless the policy forbids it.
    "apt-get": r'''if [[ $1 == --simulate ]]; then
    echo "Inst ${*: -1} (1.0 Debian:12 [amd64])"
    [[ -z ${UPGRADES-} ]] || echo "Inst $UPGRADES [1.0] (1.1 Debian:12 [amd64])"
    exit
fi
echo "${DEBIAN_FRONTEND-} apt-get ${*: -1} of $#" >>"$CALLS"
if [[ -n ${BRINGS-} && " $* " == *" install "* ]]; then
    ln -s /lib/$BRINGS.service "$DPKG_ROOT/etc/systemd/system/multi-user.target.wants/$BRINGS.service"
    ln -s /lib/$BRINGS.socket "$DPKG_ROOT/etc/systemd/user/sockets.target.wants/$BRINGS.socket"
    ln -s ../init.d/$BRINGS "$DPKG_ROOT/etc/rc3.d/S01$BRINGS"
    for asked in "$BRINGS.service start" "--quiet $BRINGS start" "running.service restart"; do
        "$DPKG_ROOT/usr/sbin/policy-rc.d" $asked && echo "started: $asked" >>"$CALLS"
    done
fi
[[ " $* " != *" ${APT_FAILS-nothing} "* ]]''',
    "deb-systemd-helper": '[[ -n ${DPKG_MAINTSCRIPT_PACKAGE-} ]] && echo "deb-systemd-helper $*" >>"$CALLS"',
    "update-rc.d": 'echo "update-rc.d $*" >>"$CALLS"',
    "systemctl": '''[[ $1 == stop ]] && echo "systemctl $*" >>"$CALLS"
[[ ${*: -1} == running.service ]]''',
    "sudo": '''[[ ${SUDO-} == allowed ]] || exit 1
[[ $1 == env ]] && echo "sudo" >>"$CALLS"
[[ $1 == -* ]] || exec "$@"''',
}


class InstallDependencies(unittest.TestCase):
    def setUp(self):
        self.place = pathlib.Path(self.enterContext(
            tempfile.TemporaryDirectory(prefix="vond-install-test.", dir="/tmp")))
        self.place.chmod(0o755)  # another user comes in below
        shutil.copy(scriptrun.ROOT / "scripts/install-dependencies", self.place)
        (self.place / "bin").mkdir()
        for name, text in FAKES.items():
            scriptrun.write_program(self.place / "bin" / name, text)
        self.calls_file = self.place / "calls"
        self.calls_file.touch()
        self.calls_file.chmod(0o666)
        self.root = self.place / "root"
        for name in ("usr/sbin", "etc/rc3.d", "etc/systemd/system/multi-user.target.wants",
                     "etc/systemd/user/sockets.target.wants"):
            (self.root / name).mkdir(parents=True)
        (self.root / "etc/systemd/system/multi-user.target.wants/old.service").symlink_to("/lib/old.service")
        subprocess.run(["chmod", "-R", "go+w", self.root], check=True)

    def run_it(self, *words: str, as_root: bool = False, **settings: str) -> subprocess.CompletedProcess:
        """As somebody who is not root, if not otherwise said. The settings go to what it calls."""
        user = {}
        if os.geteuid() == 0 and not as_root:
            user = {"user": NOBODY, "group": NOBODY, "extra_groups": []}
        return scriptrun.run(self.place / "install-dependencies", *words, **user, env={
            **os.environ, "PATH": f"{self.place}/bin:{os.environ['PATH']}", "CALLS": str(self.calls_file),
            "DPKG_ROOT": str(self.root), **settings})

    @property
    def calls(self) -> str:
        return self.calls_file.read_text(encoding="utf-8")

    def test_nothing_missing_installs_nothing(self):
        done = self.run_it("build", "demo", "test", "bench", "package", "lintian", "proxies", "arm64", SUDO="allowed")
        self.assertEqual(done.returncode, 0, done.stdout)
        self.assertEqual(done.stdout, "")
        self.assertEqual(self.calls, "")

    def test_only_what_is_missing_is_installed(self):
        done = self.run_it(SUDO="allowed", LACKING="shellcheck")
        self.assertEqual(done.returncode, 0, done.stdout)
        self.assertEqual(done.stdout, "Installing shellcheck\n")
        self.assertIn("sudo\nnoninteractive apt-get update of ", self.calls)
        self.assertIn("sudo\nnoninteractive apt-get shellcheck of ", self.calls)
        self.assertEqual(self.calls.count("apt-get"), 2)

    @unittest.skipIf(os.geteuid() != 0, "only as root")
    def test_root_needs_no_sudo(self):
        done = self.run_it(as_root=True, LACKING="shellcheck")
        self.assertEqual(done.returncode, 0, done.stdout)
        self.assertIn("noninteractive apt-get shellcheck of ", self.calls)
        self.assertNotIn("sudo", self.calls)

    def test_sets_are_kept_apart(self):
        done = self.run_it("demo", SUDO="allowed", LACKING="*")
        self.assertEqual(done.stdout, "Installing curl liblcms2-utils libvips-tools python3\n")

    def test_without_rights_it_says_what_to_do(self):
        done = self.run_it(LACKING="shellcheck")
        self.assertEqual(done.returncode, 1, done.stdout)
        self.assertIn("please run as root: apt-get install --no-install-recommends shellcheck", done.stdout)
        self.assertEqual(self.calls, "")

    def test_old_package_lists_are_no_reason_to_stop(self):
        done = self.run_it(SUDO="allowed", LACKING="shellcheck", APT_FAILS="update")
        self.assertEqual(done.returncode, 0, done.stdout)
        self.assertIn("apt-get shellcheck of ", self.calls)

    def test_a_failed_installation_is_reported(self):
        done = self.run_it(SUDO="allowed", LACKING="shellcheck", APT_FAILS="install")
        self.assertEqual(done.returncode, 1, done.stdout)
        self.assertIn("apt-get could not install: shellcheck", done.stdout)

    def test_an_unknown_set_is_rejected(self):
        done = self.run_it("build", "tests", SUDO="allowed", LACKING="*")
        self.assertEqual(done.returncode, 1, done.stdout)
        self.assertIn("there is no set 'tests'", done.stdout)
        self.assertEqual(self.calls, "")

    def test_a_package_of_another_architecture_is_one_of_its_own(self):
        done = self.run_it("arm64", SUDO="allowed", LACKING="libvips-dev:arm64")
        self.assertEqual(done.stdout, "Installing libvips-dev:arm64\n")

    def test_services_are_neither_started_nor_enabled(self):
        done = self.run_it("proxies", SUDO="allowed", LACKING="nginx", BRINGS="nginx")
        self.assertEqual(done.returncode, 0, done.stdout)
        stopped = ["systemctl stop nginx.service"] if os.path.isdir("/run/systemd/system") else []
        # What was running before may be restarted.
        self.assertEqual(sorted(line for line in self.calls.splitlines() if "apt-get" not in line and line != "sudo"), [
            "deb-systemd-helper --user disable nginx.socket", "deb-systemd-helper disable nginx.service",
            "started: running.service restart", *stopped, "update-rc.d nginx disable"])
        self.assertFalse((self.root / "usr/sbin/policy-rc.d").exists(), "the policy is still there")

    def test_a_failed_installation_leaves_no_service_either(self):
        done = self.run_it("proxies", SUDO="allowed", LACKING="nginx", BRINGS="nginx", APT_FAILS="install")
        self.assertEqual(done.returncode, 1, done.stdout)
        self.assertIn("deb-systemd-helper disable nginx.service", self.calls)
        self.assertFalse((self.root / "usr/sbin/policy-rc.d").exists(), "the policy is still there")

    def test_upgrades_are_named(self):
        done = self.run_it(SUDO="allowed", LACKING="shellcheck", UPGRADES="libc6")
        self.assertEqual(done.returncode, 0, done.stdout)
        self.assertIn("Upgrading, because what is missing depends on it: libc6", done.stdout)

    def test_upgrades_can_be_rejected(self):
        done = self.run_it("--no-upgrade", SUDO="allowed", LACKING="shellcheck", UPGRADES="libc6")
        self.assertEqual(done.returncode, 1, done.stdout)
        self.assertIn("these packages would have to be upgraded first: libc6", done.stdout)
        self.assertNotIn("shellcheck", self.calls)

    def test_names_can_be_printed(self):
        done = self.run_it("--print", "demo", LACKING="curl")
        self.assertEqual(done.stdout, "curl\nliblcms2-utils\nlibvips-tools\npython3\n")
        self.assertEqual(self.calls, "")


if __name__ == "__main__":
    unittest.main(verbosity=2)
