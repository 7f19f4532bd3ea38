"""The keyrings that people have: each keeps the sign-in over restarts, asks a person as it likes to, and holds up no
window, whatever happens to it."""

import base64
import os
import shutil
import signal
import subprocess
import time
import uuid

from stage import Atspi, check, labctl, scene, until

SERVICE = "org.freedesktop.secrets"
PASSWORD = "Correct-horse-42-battery"
# A window that answers within two seconds, and the time to read it here.
HELD_SECONDS = 3
SLOW_PERSON_SECONDS = 25
ACCESSIBLE = {"QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1"}


def other(stage, name, role=Atspi.Role.PUSH_BUTTON):
    """Waits for a control of another program than the client."""
    def look():
        desktop = Atspi.get_desktop(0)
        programs = filter(None, map(desktop.get_child_at_index, range(desktop.get_child_count())))
        return next(filter(None, (stage.desktop.find(name, role, program) for program in programs
                                  if program.get_name().lower() != "velmora")), None)
    return until(f"“{name}” of another program", look)


def enter_password(stage, keys=PASSWORD):
    other(stage, "OK")
    stage.desktop.type(keys)
    stage.desktop.key("Return")


def write(path, text):
    """A file of the person's."""
    path = os.path.join(os.environ["HOME"], path)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)
    subprocess.run(["chown", "-R", "--reference", os.environ["HOME"], os.environ["HOME"]], check=True)
    return path


def service_call(destination, path, method, *arguments):
    return ("dbus-send", "--session", "--print-reply", "--reply-timeout=60000", "--dest=" + destination, path, method,
            *arguments)


def keyring_process(stage):
    return int(stage.run(*service_call("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                       "org.freedesktop.DBus.GetConnectionUnixProcessID",
                                       "string:" + SERVICE)).split()[-1])


def start_on_demand(stage, name, program):
    """Has the session bus start this program, with a display, when somebody calls the name."""
    with open(os.path.join(os.environ["VELMORA_LAB"], "session-services", name + ".service"), "w",
              encoding="utf-8") as file:
        file.write(f"[D-BUS Service]\nName={name}\nExec=/usr/bin/env DISPLAY={os.environ['DISPLAY']} "
                   f"QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1 {program}\n")
    stage.activatable()


def at_home(client):
    the_list = client.desktop.wait_for("All locations", Atspi.Role.LIST)
    until("locations", lambda: the_list.get_child_count() > 5)


def signs_in_and_connects(client):
    client.desktop.wait_for("Sign in", Atspi.Role.PUSH_BUTTON)
    client.sign_in(os.environ["VELMORA_LAB_USER"], os.environ["VELMORA_LAB_PASSWORD"])
    held = longest_silence(client, 3)
    check("signing in does not hold the window", held < 1.5, held)
    is_home_and_connects(client)


def is_home_and_connects(client):
    at_home(client)
    client.choose("Berlin")
    client.connect()
    client.disconnect()


def references_lead_to_the_secrets(client):
    """The profile, started by another program than the client."""
    check("the tunnel has its secrets", labctl("as-user", "nmcli", "connection", "up", "Velmora")[0],
          client.everything("stderr")[-5:])
    client.desktop.wait_for_text("Connected")
    client.disconnect()


def longest_silence(client, seconds):
    """The longest time that the window left its reader without an answer, in so many seconds."""
    longest, answered = 0, time.monotonic()
    end = answered + seconds
    while answered < end or longest == 0:
        until("an answer of the window", client.desktop.texts)
        longest, answered = max(longest, time.monotonic() - answered), time.monotonic()
    return longest


def windows_of(program):
    return subprocess.run(["xdotool", "search", "--onlyvisible", "--class", program], capture_output=True).stdout


def seconds_to_window(client):
    """From a new start of the client to its first window."""
    client.kill()
    began = time.monotonic()
    client.start()
    until("a window", lambda: windows_of("velmora"))
    return time.monotonic() - began


def keepassxc(stage, confirms):
    """KeePassXC with an open database, whose root group it shows to other programs; the client signed in, restarted."""
    labctl("keyring", "kill")
    group = uuid.uuid4()
    xml = write("lab.xml", f"""<?xml version="1.0" encoding="UTF-8"?>
<KeePassFile>
  <Meta><CustomData><Item><Key>FDO_SECRETS_EXPOSED_GROUP</Key><Value>{{{group}}}</Value></Item></CustomData></Meta>
  <Root><Group><UUID>{base64.b64encode(group.bytes).decode()}</UUID><Name>Root</Name></Group></Root>
</KeePassFile>""")
    write(".config/keepassxc/keepassxc.ini", "[General]\nConfigVersion=2\nUpdateCheckMessageShown=true\n[FdoSecrets]\n"
          f"Enabled=true\nShowNotification=false\nConfirmAccessItem={str(confirms).lower()}\n")
    database = xml.replace(".xml", ".kdbx")
    subprocess.run(["labctl", "as-user", "keepassxc-cli", "import", "-p", xml, database], input="lab\nlab\n", text=True,
                   capture_output=True, check=True)
    program = stage.spawn("keepassxc", "keepassxc", "--pw-stdin", database, **ACCESSIBLE)
    program.stdin.write(b"lab\n")
    program.stdin.close()
    stage.on_the_bus(SERVICE)
    until("the database open", lambda: "false" in stage.run(*service_call(
        SERVICE, "/org/freedesktop/secrets/aliases/default", "org.freedesktop.DBus.Properties.Get",
        "string:org.freedesktop.Secret.Collection", "string:Locked")))
    client = stage.start_client()
    signs_in_and_connects(client)
    client.kill()
    client.start()
    return client


@scene("keepassxc")
def keepassxc_that_confirms(stage):
    client = keepassxc(stage, confirms=True)
    client.desktop.wait_for("Sign in", Atspi.Role.PUSH_BUTTON)
    stage.desktop.press(other(stage, "Allow Selected"))
    is_home_and_connects(client)
    client.kill()
    forgetting = stage.spawn("forget", *client.program.split(), "--forget")
    stage.desktop.press(other(stage, "Allow Selected"))
    check("one question, and all is forgotten", forgetting.wait(30) == 0 and
          "holds nothing" in stage.run(*client.program.split(), "--forget"), stage.log("forget"))
    client.start()
    signs_in_and_connects(client)
    # A person who denies it signs in for this run.
    client.kill()
    client.start()
    stage.desktop.press(other(stage, "Deny All & Future"))
    signs_in_and_connects(client)
    stage.picture("denied")


@scene("keepassxc")
def keepassxc_that_confirms_nothing(stage):
    is_home_and_connects(keepassxc(stage, confirms=False))


@scene("libkf5wallet-bin|kwallet6", seconds=240)
def kwallet(stage):
    program = shutil.which("kwalletd6") or shutil.which("kwalletd5")
    name = os.path.basename(program)

    def restart_kwallet():
        client.kill()
        process = keyring_process(stage)
        os.kill(process, signal.SIGKILL)
        until("KWallet's end", lambda: not os.path.exists(f"/proc/{process}/exe"))
        stage.spawn("kwallet", program, **ACCESSIBLE)
        stage.on_the_bus("org.kde." + name)
        stage.on_the_bus(SERVICE)

    labctl("keyring", "kill")
    write(".config/kwalletrc", "[Wallet]\nFirst Use=false\n[org.freedesktop.secrets]\napiEnabled=true\n")
    # Installed, not running, and without a wallet.
    start_on_demand(stage, SERVICE, program)
    client = stage.start_client()
    said = until("a word before the question", lambda: [text for text in client.desktop.texts() if "eyring" in text])
    check("no keyring is to be installed", not any("install" in text for text in said), said)
    check("the person can read it before the question", not windows_of(name))
    stage.desktop.press(other(stage, "Classic, blowfish encrypted file", Atspi.Role.RADIO_BUTTON))
    stage.picture("new-wallet")
    stage.desktop.press(other(stage, "Finish"))
    enter_password(stage, PASSWORD + "\t" + PASSWORD)
    until("no strip", lambda: client.desktop.find("Needs attention") is None)
    signs_in_and_connects(client)
    changed = time.time()
    wallet = os.path.join(os.environ["HOME"], ".local/share/kwalletd/Default keyring.kwl")
    until("the wallet written", lambda: os.path.getmtime(wallet) > changed)

    # Started anew it asks; the items stand at other paths then.
    os.remove(os.path.join(os.environ["VELMORA_LAB"], "session-services", SERVICE + ".service"))
    stage.activatable()
    restart_kwallet()
    client.start()
    client.desktop.wait_for("Sign in", Atspi.Role.PUSH_BUTTON)
    enter_password(stage)
    at_home(client)
    references_lead_to_the_secrets(client)

    # A program of KDE's has it opened before: nobody is asked again.
    restart_kwallet()
    opening = stage.spawn("kde", *service_call("org.kde." + name, "/modules/" + name, "org.kde.KWallet.open",
                                               "string:Default keyring", "int64:0", "string:kde"))
    enter_password(stage)
    opening.wait(30)
    client.start()
    is_home_and_connects(client)


@scene()
def gnome_keyring_stands_still(stage):
    client = stage.start_client()
    signs_in_and_connects(client)
    process = keyring_process(stage)
    os.kill(process, signal.SIGSTOP)
    for press, bound in (("a connect holds the window once", HELD_SECONDS), ("the next one does not", 1)):
        client.press("Quick Connect")
        held = longest_silence(client, 2 * HELD_SECONDS)
        check(press, held < bound, held)
    os.kill(process, signal.SIGCONT)
    until("connected with the keyring that has come back", client.try_to_connect)
    client.disconnect()

    as_ever = seconds_to_window(client)
    at_home(client)
    os.kill(process, signal.SIGSTOP)
    took = seconds_to_window(client)
    check("the window is there within a second", took < max(1, as_ever + 0.7), (took, as_ever))
    client.desktop.wait_for("Sign in", Atspi.Role.PUSH_BUTTON)
    os.kill(process, signal.SIGCONT)
    at_home(client)


@scene("gcr4|gcr", seconds=180)
def gnome_keyring_is_locked(stage):
    """A slow person, asked once, does not unlock it: the client works as ever, and nothing is lost."""
    start_on_demand(stage, "org.gnome.keyring.SystemPrompter", "/usr/libexec/gcr-prompter")
    labctl("keyring", "lock")
    process = keyring_process(stage)
    client = stage.start_client()
    client.desktop.wait_for("Sign in", Atspi.Role.PUSH_BUTTON)
    until("a prompt", lambda: windows_of("gcr-prompter"))
    held = longest_silence(client, SLOW_PERSON_SECONDS)
    check("the window and the keyring live", held < HELD_SECONDS and keyring_process(stage) == process, held)
    stage.picture("prompt")
    stage.desktop.key("Escape")
    until("no prompt", lambda: not windows_of("gcr-prompter"))
    signs_in_and_connects(client)
    client.desktop.wait_for("Needs attention")
    check("nobody is asked again", not windows_of("gcr-prompter") and keyring_process(stage) == process)
    labctl("keyring", "unlock")
    until("no strip", lambda: client.desktop.find("Needs attention") is None)
    until("the secrets in the keyring", lambda: subprocess.run(
        ["labctl", "as-user", "secret-tool", "lookup", "service", "com.velmora.Client", "key", "sharedSecret"],
        capture_output=True, timeout=30).stdout)
    seconds_to_window(client)
    at_home(client)
    references_lead_to_the_secrets(client)
