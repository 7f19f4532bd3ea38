"""The keyrings that people have: each keeps the sign-in over restarts, asks a person as it likes to, and holds up no
window, whatever becomes of it."""

import base64
import os
import shutil
import signal
import subprocess
import time
import uuid

from stage import Atspi, check, labctl, scene, until

USER, PASSWORD = os.environ.get("VELMORA_LAB_USER"), os.environ.get("VELMORA_LAB_PASSWORD")
SERVICE = "org.freedesktop.secrets"
KEYRING_PASSWORD = "Correct-horse-42-battery"
# Of a window that answers within two seconds, and of what reads it here.
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


def press_other(stage, name, role=Atspi.Role.PUSH_BUTTON):
    stage.desktop.press(other(stage, name, role))


def write(path, text):
    """A file of the person's."""
    path = os.path.join(os.environ["HOME"], path)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)
    subprocess.run(["chown", "-R", "--reference", os.environ["HOME"], os.environ["HOME"]], check=True)
    return path


def at_home(client):
    the_list = client.desktop.wait_for("All locations", Atspi.Role.LIST)
    until("locations", lambda: the_list.get_child_count() > 5)


def sign_in(client):
    client.desktop.wait_for("Sign in", Atspi.Role.PUSH_BUTTON)
    client.sign_in(USER, PASSWORD)
    held = longest_silence(client, 3)
    check("signing in does not hold the window", held < 1.5, held)
    at_home(client)


def restart(client):
    client.kill()
    client.start()


def longest_silence(client, seconds):
    """How long the window left its reader without an answer, at most, in so many seconds."""
    longest, answered = 0, time.monotonic()
    end = answered + seconds
    while answered < end or longest == 0:
        until("an answer of the window", client.desktop.texts)
        longest, answered = max(longest, time.monotonic() - answered), time.monotonic()
    return longest


def seconds_to_window(client):
    """From the start of the client to its first window."""
    began = time.monotonic()
    client.start()
    until("a window", lambda: subprocess.run(["xdotool", "search", "--onlyvisible", "--class", "velmora"],
                                             capture_output=True).stdout)
    return time.monotonic() - began


def keyring_process(stage):
    said = stage.run("dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.DBus", "/org/freedesktop/DBus",
                     "org.freedesktop.DBus.GetConnectionUnixProcessID", "string:" + SERVICE)
    return int(said.split()[-1])


def start_on_demand(stage, name, program):
    """Has the session bus start this program, with a display, when somebody calls the name."""
    with open(os.path.join(os.environ["VELMORA_LAB"], "session-services", name + ".service"), "w",
              encoding="utf-8") as file:
        file.write(f"[D-BUS Service]\nName={name}\nExec=/usr/bin/env DISPLAY={os.environ['DISPLAY']} "
                   f"QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1 {program}\n")
    stage.activatable()


def stored(stage, key):
    done = subprocess.run(["labctl", "as-user", "secret-tool", "lookup", "service", "com.velmora.Client", "key", key],
                          capture_output=True, text=True, timeout=30)
    return done.stdout


def connects(client):
    client.choose("Berlin")
    client.connect()
    client.disconnect()


# --- KeePassXC --------------------------------------------------------------------------------------------------------

def keepassxc(stage, confirms):
    """KeePassXC with an open database, whose root group it shows to other programs."""
    labctl("keyring", "kill")
    group = uuid.uuid4()
    xml = write("lab.xml", f"""<?xml version="1.0" encoding="UTF-8"?>
<KeePassFile>
  <Meta><CustomData><Item><Key>FDO_SECRETS_EXPOSED_GROUP</Key><Value>{{{group}}}</Value></Item></CustomData></Meta>
  <Root><Group><UUID>{base64.b64encode(group.bytes).decode()}</UUID><Name>Root</Name></Group></Root>
</KeePassFile>""")
    write(".config/keepassxc/keepassxc.ini", f"""[General]
ConfigVersion=2
UpdateCheckMessageShown=true
[FdoSecrets]
Enabled=true
ShowNotification=false
ConfirmAccessItem={str(confirms).lower()}
""")
    database = xml.replace(".xml", ".kdbx")
    subprocess.run(["labctl", "as-user", "keepassxc-cli", "import", "-p", xml, database], input="lab\nlab\n", text=True,
                   capture_output=True, check=True)
    program = stage.spawn("keepassxc", "keepassxc", "--pw-stdin", database, **ACCESSIBLE)
    program.stdin.write(b"lab\n")
    program.stdin.close()
    stage.on_the_bus(SERVICE)
    until("the database open", lambda: "false" in stage.run(
        "dbus-send", "--session", "--print-reply", "--dest=" + SERVICE, "/org/freedesktop/secrets/aliases/default",
        "org.freedesktop.DBus.Properties.Get", "string:org.freedesktop.Secret.Collection", "string:Locked"))
    client = stage.start_client()
    sign_in(client)
    connects(client)
    restart(client)
    return client


@scene("keepassxc")
def keepassxc_that_confirms(stage):
    client = keepassxc(stage, confirms=True)
    client.desktop.wait_for("Sign in", Atspi.Role.PUSH_BUTTON)
    other(stage, "Allow Selected")
    stage.picture("asked")
    press_other(stage, "Allow Selected")
    at_home(client)
    connects(client)
    stage.picture("signed-in")
    # A person who denies it signs in for this run.
    restart(client)
    press_other(stage, "Deny All & Future")
    sign_in(client)
    connects(client)
    stage.picture("denied")


@scene("keepassxc")
def keepassxc_that_confirms_nothing(stage):
    client = keepassxc(stage, confirms=False)
    at_home(client)
    connects(client)
    stage.picture("signed-in")


# --- KWallet ----------------------------------------------------------------------------------------------------------

def kwalletd():
    return shutil.which("kwalletd6") or shutil.which("kwalletd5")


def restart_kwallet(stage):
    process = keyring_process(stage)
    os.kill(process, signal.SIGKILL)
    until("KWallet's end", lambda: not os.path.exists(f"/proc/{process}/exe"))
    stage.spawn("kwallet", kwalletd(), **ACCESSIBLE)
    stage.on_the_bus("org.kde." + os.path.basename(kwalletd()))
    stage.on_the_bus(SERVICE)


@scene("libkf5wallet-bin|kwallet6", seconds=240)
def kwallet(stage):
    labctl("keyring", "kill")
    write(".config/kwalletrc", "[Wallet]\nFirst Use=false\n[org.freedesktop.secrets]\napiEnabled=true\n")
    # Installed, not running, and without a wallet.
    start_on_demand(stage, SERVICE, kwalletd())
    client = stage.start_client()
    said = until("a word before the question", lambda: [text for text in client.desktop.texts() if "eyring" in text])
    check("no keyring is to be installed", not any("install" in text for text in said), said)
    press_other(stage, "Classic, blowfish encrypted file", Atspi.Role.RADIO_BUTTON)
    stage.picture("new-wallet")
    press_other(stage, "Finish")
    other(stage, "OK")
    stage.desktop.type(KEYRING_PASSWORD + "\t" + KEYRING_PASSWORD)
    stage.desktop.key("Return")
    until("no strip", lambda: client.desktop.find("Needs attention") is None)
    sign_in(client)
    connects(client)
    changed = time.time()
    wallet = os.path.join(os.environ["HOME"], ".local/share/kwalletd/Default keyring.kwl")
    until("the wallet written", lambda: os.path.getmtime(wallet) > changed)
    restart(client)
    at_home(client)

    # Started anew it asks; the items stand at other paths then.
    client.kill()
    os.remove(os.path.join(os.environ["VELMORA_LAB"], "session-services", SERVICE + ".service"))
    stage.activatable()
    restart_kwallet(stage)
    client.start()
    client.desktop.wait_for("Sign in", Atspi.Role.PUSH_BUTTON)
    other(stage, "OK")
    stage.picture("locked")
    stage.desktop.type(KEYRING_PASSWORD)
    stage.desktop.key("Return")
    at_home(client)
    check("the profile's references are followed", labctl("as-user", "nmcli", "connection", "up", "Velmora")[0],
          client.everything("stderr")[-5:])
    client.desktop.wait_for_text("Connected")
    client.disconnect()

    # A program of KDE's has it opened before: nobody is asked again.
    client.kill()
    restart_kwallet(stage)
    name = os.path.basename(kwalletd())
    opening = stage.spawn("kde", "dbus-send", "--session", "--print-reply", "--reply-timeout=60000",
                          "--dest=org.kde." + name, "/modules/" + name, "org.kde.KWallet.open",
                          "string:Default keyring", "int64:0", "string:kde")
    other(stage, "OK")
    stage.desktop.type(KEYRING_PASSWORD)
    stage.desktop.key("Return")
    opening.wait(30)
    client.start()
    at_home(client)
    connects(client)
    stage.picture("opened-by-kde")


# --- GNOME Keyring ----------------------------------------------------------------------------------------------------

@scene()
def gnome_keyring_stands_still(stage):
    client = stage.start_client()
    sign_in(client)
    connects(client)
    client.choose("Berlin")
    process = keyring_process(stage)
    os.kill(process, signal.SIGSTOP)
    client.press("Quick Connect")
    held = longest_silence(client, 6)
    check("a connect holds the window once", held < HELD_SECONDS, held)
    client.press("Quick Connect")
    held = longest_silence(client, 3)
    check("the next one does not", held < 1, held)
    os.kill(process, signal.SIGCONT)
    until("connected with the keyring that has come back", client.try_to_connect)
    client.disconnect()

    client.kill()
    as_ever = seconds_to_window(client)
    at_home(client)
    client.kill()
    os.kill(process, signal.SIGSTOP)
    took = seconds_to_window(client)
    check("the window is there within a second", took < max(1, as_ever + 0.7), (took, as_ever))
    client.desktop.wait_for("Sign in", Atspi.Role.PUSH_BUTTON)
    stage.picture("stopped")
    os.kill(process, signal.SIGCONT)
    at_home(client)


@scene()
def gnome_keyring_is_locked(stage):
    """Nobody unlocks it for a long time: the client works as ever, and nothing is lost."""
    labctl("keyring", "lock")
    client = stage.start_client()
    sign_in(client)
    client.desktop.wait_for("Needs attention")
    connects(client)
    stage.picture("locked")
    labctl("keyring", "unlock")
    until("the sign-in in the keyring", lambda: stored(stage, "username") == USER)
    until("the secrets in the keyring", lambda: stored(stage, "sharedSecret"))
    until("no strip", lambda: client.desktop.find("Needs attention") is None)
    restart(client)
    at_home(client)
    check("the profile's references are followed", labctl("as-user", "nmcli", "connection", "up", "Velmora")[0],
          client.everything("stderr")[-5:])


@scene("gcr4|gcr")
def gnome_keyring_waits_for_a_slow_person(stage):
    start_on_demand(stage, "org.gnome.keyring.SystemPrompter", "/usr/libexec/gcr-prompter")
    client = stage.start_client()
    sign_in(client)
    client.kill()
    labctl("keyring", "lock")
    process = keyring_process(stage)
    took = seconds_to_window(client)
    check("the window does not wait", took < 2, took)
    client.desktop.wait_for("Sign in", Atspi.Role.PUSH_BUTTON)
    until("a prompt", lambda: subprocess.run(["xdotool", "search", "--onlyvisible", "--class", "gcr-prompter"],
                                             capture_output=True).stdout)
    end = time.monotonic() + SLOW_PERSON_SECONDS
    while time.monotonic() < end:
        check("the keyring lives", keyring_process(stage) == process)
        check("the window answers", client.desktop.find("Sign in"))
    stage.picture("prompt")
    stage.desktop.type("lab")
    stage.desktop.key("Return")
    at_home(client)
    check("the keyring lives", keyring_process(stage) == process)
