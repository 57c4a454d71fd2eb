#!/usr/bin/env python3
"""The packages under a real service manager and AppArmor: installed, used, hurt, booted again, upgraded, removed and purged."""
import argparse
import os
import re
import shutil
import unittest

from make_machine import codename, dependencies, make_fresh
from tools import PACKAGES, need, need_root, packages, skip
from virtual_machine import PACKAGES as MACHINE, VirtualMachine, add_agent

SERVICES = ("sifterra-icap", "sifterra-netfilterd", "sifterra-proxy", "sifterra-override")
ENFORCED = SERVICES[:3]

# A web in a network of its own, with names; ann is to be managed, bob is not. /test/page USER URL tells what comes back.
WORLD = """
mkdir -p /test && cd /test
cp /share/origin.py /share/*.html .
ip netns add web
ip link add wire type veth peer name wire netns web
ip address add 198.51.100.1/24 dev wire
ip link set wire up
for address in 198.51.100.2/24 198.51.100.3/24 198.51.100.4/24; do ip -n web address add $address dev wire; done
ip -n web link set lo up
ip -n web address add 2001:db8:51::2/64 dev lo nodad
ip -n web link set wire up
rm -f /etc/resolv.conf && echo nameserver 198.51.100.2 >/etc/resolv.conf
if [ ! -e origin.pem ]; then
  openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj "/CN=Web of the test" -keyout web.key -out web.pem
  openssl req -newkey rsa:2048 -nodes -subj /CN=origin -keyout origin.key -out origin.csr
  echo subjectAltName=DNS:pages.example >origin.ext
  openssl x509 -req -in origin.csr -CA web.pem -CAkey web.key -days 2 -extfile origin.ext -out origin.crt
  cat origin.key origin.crt >origin.pem
  cp web.pem /usr/local/share/ca-certificates/web-of-the-test.crt
  update-ca-certificates
  useradd --create-home ann
  useradd --create-home bob
fi
systemd-run --quiet --unit=web sh -c 'tail -f /dev/null | ip netns exec web python3 /test/origin.py \
  --examples /test --certificate /test/origin.pem --stranger /test/origin.pem --file /test/file'
cat >page <<'END'
#!/bin/sh
user=$1
shift
rm -f /tmp/page.$user
code=$(runuser -u $user -- curl --silent --max-time 60 --output /tmp/page.$user --write-out '%{http_code}' "$@") || code=000
if cmp -s /tmp/page.$user /test/garden-diary.html; then what=good
elif cmp -s /tmp/page.$user /test/adult-video-site.html; then what=bad
elif grep -qs webcontentfilter.override.local /tmp/page.$user; then what=closed
else what=nothing; fi
echo $code $what
END
chmod 755 page
for try in $(seq 60); do [ "$(./page bob http://pages.example/good)" = "200 good" ] && exit; sleep 1; done
exit 1
"""
# As ann: asks for the page to be opened, and gives the password.
OPEN = """
page=http://127.0.0.1:10011/webcontentfilter.override.local
token=$(runuser -u ann -- curl --silent --max-time 60 $page --data-urlencode url=$(printf %s "$1" | base64 -w0) \
  --data-urlencode title=$(printf Page | base64) | sed -n 's/.*name="token" value="\\([^"]*\\)".*/\\1/p')
runuser -u ann -- curl --silent --max-time 60 --output /dev/null --write-out '%{http_code} %{redirect_url}' $page/allow \
  -H 'Origin: http://127.0.0.1:10011' --data-urlencode "token=$token" --data-urlencode name=parents --data-urlencode "password=$2"
"""


class Boot(unittest.TestCase):
    """One story: each step starts from what the one before left."""

    def test_a_machine(self):
        steps = (self.a_machine_starts, self.installing_starts_nothing, self.an_account_is_enrolled, self.pages_are_judged,
                 self.what_ends_is_started_again, self.what_hangs_is_started_again, self.flushed_rules_come_back,
                 self.an_approver_opens_a_page, self.a_pause_and_its_end, self.other_resolvers_are_taken_up,
                 self.addresses_are_logged_where_wanted, self.the_filter_stands_before_the_network_after_a_boot,
                 self.an_upgrade_keeps_the_filter, self.nothing_was_against_a_profile, self.taking_it_off_leaves_no_service,
                 self.purging_leaves_nothing)
        for step in steps:
            print(step.__name__.replace("_", " "), flush=True)
            step()

    def page(self, user, address, *more):
        return machine.run(f"/test/page {user} {address} {' '.join(more)}").strip()

    def setup(self, *arguments):
        return machine.run("sifterra-setup " + " ".join(arguments))

    def until_judged(self):
        """The pages of ann's while services start: closed or judged, and never open."""
        answers = machine.run("""
end=$(($(date +%s) + 120))
until [ "$answer" = "200 good" ]; do
  [ "$(date +%s)" -lt $end ]
  /test/page ann https://pages.example/bad
  answer=$(/test/page ann https://pages.example/good)
done""")
        self.assertNotIn("200", answers)

    def a_machine_starts(self):
        machine.start()
        self.assertEqual(machine.run("cat /sys/module/apparmor/parameters/enabled"), "Y\n")
        machine.run("systemctl disable --now squid.service c-icap.service")
        machine.run(WORLD)

    def installing_starts_nothing(self):
        machine.run("dpkg --force-unsafe-io --install /share/*.deb")
        self.assertEqual(machine.run("systemctl list-units --no-legend --state=active,failed 'sifterra*'"), "")
        self.assertEqual(self.page("ann", "https://pages.example/bad"), "200 bad")

    def an_account_is_enrolled(self):
        self.assertIn("ann is filtered (", self.setup("enrol", "ann"))
        self.assertIn(" 0 faults\n", self.setup("doctor"))
        self.assertEqual(machine.run("systemctl is-active " + " ".join(ENFORCED)), "active\n" * 3)
        for name in ENFORCED:
            confined = machine.run(f"cat /proc/$(systemctl show -p MainPID --value {name})/attr/current")
            self.assertEqual(confined, f"{name} (enforce)\n")

    def pages_are_judged(self):
        for scheme in ("http", "https"):
            self.assertEqual(self.page("ann", f"{scheme}://pages.example/good"), "200 good")
            self.assertEqual(self.page("ann", f"{scheme}://pages.example/bad"), "403 closed")
            self.assertEqual(self.page("bob", f"{scheme}://pages.example/bad"), "200 bad")
        self.assertEqual(self.page("ann", "http://198.51.100.2:8080/bad"), "000 nothing")
        self.assertEqual(self.page("ann", "http://pages.example/bad", "--proxy", "http://198.51.100.2:8080"), "000 nothing")

    def what_ends_is_started_again(self):
        for name in ENFORCED:
            with self.subTest(name):
                machine.run(f"kill -KILL $(systemctl show -p MainPID --value {name})")
                self.until_judged()
                self.assertEqual(machine.run(f"systemctl show -p NRestarts --value {name}"), "1\n")

    def what_hangs_is_started_again(self):
        # Its watchdog is 30 s.
        machine.run("""
kill -STOP $(systemctl show -p MainPID --value sifterra-netfilterd)
for second in $(seq 120); do [ $(systemctl show -p NRestarts --value sifterra-netfilterd) = 2 ] && exit; sleep 1; done
exit 1""")
        self.assertEqual(self.page("ann", "https://pages.example/bad"), "403 closed")

    def flushed_rules_come_back(self):
        machine.run("""
nft flush ruleset
for try in $(seq 50); do nft list table inet sifterra >/dev/null 2>&1 && exit; sleep 0.2; done
exit 1""")
        self.assertEqual(self.page("ann", "https://pages.example/bad"), "403 closed")

    def an_approver_opens_a_page(self):
        machine.run("echo Secret-7-word | sifterra-setup approver parents --password-stdin")
        asks = f"set -- https://pages.example/bad wrong\n{OPEN}"
        self.assertEqual(machine.run(asks), "403 ")
        self.assertEqual(self.page("ann", "https://pages.example/bad"), "403 closed")
        self.assertEqual(machine.run(asks.replace("wrong", "Secret-7-word")), "303 https://pages.example/bad")
        self.assertEqual(self.page("ann", "https://pages.example/bad"), "200 bad")
        self.assertIn("parents allowed https://pages.example/ for ann", machine.run("journalctl -o cat -u sifterra-override"))
        machine.run("sifterra policy remove ann allow https://pages.example/")
        self.assertEqual(self.page("ann", "https://pages.example/bad"), "403 closed")

    def a_pause_and_its_end(self):
        self.setup("pause", "ann", "--for", "1h")
        self.assertEqual(self.page("ann", "https://pages.example/bad"), "200 bad")
        self.setup("resume", "ann")
        self.assertEqual(self.page("ann", "https://pages.example/bad"), "403 closed")

    def other_resolvers_are_taken_up(self):
        machine.run("""
echo options edns0 >>/etc/resolv.conf
for try in $(seq 60); do journalctl -o cat -u sifterra-resolvers.service | grep -q ^Finished && exit; sleep 1; done
exit 1""")
        self.until_judged()

    def addresses_are_logged_where_wanted(self):
        machine.run("""sed -i 's/"settings": {}/"settings": {"log-addresses": true}/' /etc/sifterra/machine.json
sifterra-setup apply""")
        self.until_judged()
        self.assertIn('url="https://pages.example/good"', machine.run("cat /var/log/sifterra-icap/access.log"))

    def the_filter_stands_before_the_network_after_a_boot(self):
        machine.boot_again()
        machine.run("systemctl is-system-running --wait")
        times = machine.run("for unit in sifterra-netfilterd.service network-pre.target; do "
                            "systemctl show -p ActiveEnterTimestampMonotonic --value $unit; done").split()
        self.assertEqual(times, sorted(times, key=int))
        machine.run(WORLD)
        self.until_judged()
        self.assertEqual(self.page("ann", "https://pages.example/bad"), "403 closed")
        self.assertIn(" 0 faults\n", self.setup("doctor"))

    def an_upgrade_keeps_the_filter(self):
        policy = machine.run("sifterra policy show --json ann")
        started = machine.run("systemctl show -p ExecMainStartTimestampMonotonic --value " + " ".join(ENFORCED))
        watch = "while :; do /test/page ann https://pages.example/bad; done >/run/seen 2>&1"
        machine.run(f"systemd-run --quiet --unit=watch sh -c '{watch}'; dpkg --force-unsafe-io --install /share/*.deb")
        self.until_judged()
        seen = machine.run("systemctl stop watch; cat /run/seen")
        self.assertIn("403 closed", seen)
        self.assertNotIn("200", seen)
        again = machine.run("systemctl show -p ExecMainStartTimestampMonotonic --value " + " ".join(ENFORCED))
        for before, after in zip(started.split(), again.split()):
            self.assertLess(int(before), int(after))
        self.assertEqual(machine.run("sifterra policy show --json ann"), policy)

    def nothing_was_against_a_profile(self):
        log = machine.run("journalctl -k --no-pager -o cat")
        against = re.findall(r'apparmor="(?:DENIED|ALLOWED)".*profile="sifterra-.*', log)
        self.assertEqual(against, [])

    def taking_it_off_leaves_no_service(self):
        self.assertEqual(self.setup("remove", "--everything"), "Nothing is filtered any more.\n")
        self.assertEqual(machine.run("systemctl list-units --no-legend --state=active,activating,failed 'sifterra*'"), "")
        self.assertEqual(self.page("ann", "https://pages.example/bad"), "200 bad")

    def purging_leaves_nothing(self):
        machine.run("dpkg --purge " + " ".join(PACKAGES))
        left = "find / -xdev -iname '*sifterra*' -not -path '/var/lib/dpkg/*' -not -path '/var/log/*' -not -path '/var/cache/*'"
        self.assertEqual(machine.run(left), "")
        self.assertEqual(machine.run("systemctl list-units --all --no-legend 'sifterra*'"), "")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    for name in ("packages", "source", "output"):
        parser.add_argument(f"--{name}", required=True)
    arguments = parser.parse_args()
    if "SIFTERRA_BOOT" not in os.environ:
        skip("a machine with systemd and AppArmor takes ten minutes: ./dev boot")
    need_root()
    need("mmdebstrap", "mke2fs", "qemu-system-x86_64")
    files = packages(arguments.packages)
    os.makedirs(arguments.output, exist_ok=True)
    root = os.path.join(arguments.output, "bootable")
    print(make_fresh(root, codename(), sorted({*dependencies(files), *MACHINE})))
    add_agent(root)
    global machine
    machine = VirtualMachine(root, os.path.join(arguments.output, "boot"))
    for path in (*files.values(), *(os.path.join(arguments.source, name) for name in
                 ("tests/services/setup/origin.py", "examples/garden-diary.html", "examples/adult-video-site.html"))):
        shutil.copy(path, machine.share)
    try:
        result = unittest.TextTestRunner(verbosity=2).run(unittest.defaultTestLoader.loadTestsFromTestCase(Boot))
    finally:
        machine.stop()
    raise SystemExit(not result.wasSuccessful())


if __name__ == "__main__":
    main()
