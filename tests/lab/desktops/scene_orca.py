"""Orca beside the client: it speaks what happens, each sentence once, and nothing else."""

import os

from stage import Atspi, check, labctl, scene, until

# Speech goes into a file, a sentence a line, and as sound to nowhere.
SPEECHD = 'AudioOutputMethod "libao"\nAddModule "file" "sd_generic" "file.conf"\nDefaultModule "file"\n'
MODULE = """GenericExecuteSynth "echo \\'$DATA\\' >>~/speech/spoken"
GenericMaxChunkLength 3000\nGenericDelimiters "^"\nAddVoice "en" "male1" "one"\n"""


class Orca:
    def __init__(self, stage):
        self.sentences = 0
        self.path = stage.write("speech/spoken", "")
        stage.write("speech/modules/file.conf", MODULE)
        stage.write(".libao", "default_driver=null\n")
        folder = os.path.dirname(stage.write("speech/speechd.conf", SPEECHD))
        socket = os.path.join(os.environ["XDG_RUNTIME_DIR"], "speech-dispatcher", "speechd.sock")
        stage.spawn("speech", "speech-dispatcher", "--run-single", "--timeout", "0", "--config-dir", folder,
                    "--socket-path", socket)
        until("a speech dispatcher", lambda: os.path.exists(socket))
        stage.spawn("orca", "orca")
        self.speaks("Screen reader on")

    # Without the names of keys, which end in a blank.
    def new_sentences(self):
        with open(self.path, encoding="utf-8") as file:
            spoken = [line.removesuffix("\n").removesuffix(".") for line in file]
        # Later versions call it "button" alone.
        return [each.replace("push button", "button") for each in spoken if not each.endswith(" ")][self.sentences:]

    # Waits for the last of these sentences. They and nothing else have been spoken since the last call, so that a call
    # says of the last one that it was not repeated.
    def speaks(self, *sentences):
        try:
            until(f"“{sentences[-1]}” spoken", lambda: sentences[-1] in self.new_sentences())
        finally:
            seen = self.new_sentences()
            check("spoken, each once and in this order", seen == list(sentences), seen)
        self.sentences += len(sentences)


def signed_in(stage, *missing):
    orca = Orca(stage)
    client = stage.start_client()
    orca.speaks("Velmora frame", "User name text", *missing)
    for text, key, *spoken in (
            ("", "Return", "Alert dialog Please enter user name", "OK button"),
            ("", "Return", "Velmora frame", "User name text"),
            (os.environ["VELMORA_LAB_USER"], "Tab", "Password password text"),
            (os.environ["VELMORA_LAB_PASSWORD"], "Return", "Quick Connect button", "Home, Disconnected")):
        client.desktop.type(text)
        client.desktop.key(key)
        orca.speaks(*spoken)
    return orca, client


@scene("orca")
def orca_speaks_a_tunnel(stage):
    orca, client = signed_in(stage)
    # The home screen before stays behind this one and follows the tunnel too.
    client.press("Settings")
    orca.speaks("Change password button", "Settings")
    client.press("Back to home")
    orca.speaks("Quick Connect button", "Home, Disconnected")
    # Two are favourites.
    others = len(labctl("endpoints")[1].splitlines()) - 2
    client.desktop.focus(client.desktop.wait_for("All locations", Atspi.Role.LIST))
    orca.speaks("All locations", f"List with {others} items")
    client.desktop.type("o")
    orca.speaks("Oslo, not a favourite")
    client.press("Quick Connect")
    orca.speaks("Connecting", "Connected")
    stage.run("nmcli", "connection", "down", "Velmora")
    orca.speaks("Disconnecting", "Disconnected")


@scene("orca")
def orca_speaks_what_is_missing_what_opens_and_a_survey(stage):
    labctl("nm", "stop")
    labctl("fault", 'body={"endpoints": [{"id": 1, "name": "One", "country": "US", "address": "198.18.0.1"},'
           '{"id": 2, "name": "Two", "country": "US", "address": "198.18.0.2"}]}', "on", "endpoints")
    orca, client = signed_in(stage, "No NetworkManager: install or start network-manager")
    sentence = "New versions of Velmora come with the updates of your system"
    for opener, title, button, *then in (("Notice", "Stay up to date", "Close", "Velmora frame"),
                                         ("Update", "Update Velmora", "Update")):
        client.press(opener)
        orca.speaks(f"{title} dialog {sentence}", f"{button} button")
        client.desktop.key("Escape")
        orca.speaks(*then, "Quick Connect button")
    client.desktop.focus(client.button("Measure latencies"))
    orca.speaks("Measure latencies button")
    # The lists and the progress are drawn several times meanwhile.
    client.desktop.key("space")
    orca.speaks("Latencies measured")
    labctl("keyring", "kill")
    orca.speaks("No keyring: install one, such as gnome-keyring")
