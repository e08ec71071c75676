# For the scripts that run every effect: settings that make an effect visible where its defaults leave a photograph
# unchanged. Effects that are not listed run with their defaults. To be sourced by bash.

# A hand-made face of 100 pixels, for pictures of at least 257 x 193; without spaces.
face='{"rectangle":[69,47,181,166],"outline":[[77,76],[78,92],[81,107],[85,120],[91,133],[98,143],[107,150],'
face+='[116,154],[125,156],[134,154],[143,150],[152,143],[159,133],[165,120],[169,107],[172,92],[173,76]]'
face+=',"brows":[[[87,63],[93,58],[101,57],[109,58],[115,62]],[[135,62],[141,58],[149,57],[157,58],'
face+='[163,63]]],"nose":[[[125,76],[125,86],[125,95],[125,103]],[[115,108],[120,110],[125,111],[130,110],[135,108]]]'
face+=',"eyes":[[[91,76],[98,71],[106,71],[112,76],[106,81],[98,81]],[[138,76],[144,71],[152,71],[159,76],[152,81],'
face+='[144,81]]]'
face+=',"mouthOuter":[[106,130],[114,126],[120,124],[125,126],[130,124],[136,126],[144,130],[136,140],[130,143],'
face+='[125,143],[120,143],[114,140]]'
face+=',"mouthInner":[[111,132],[120,130],[125,132],[130,130],[139,132],[130,137],[125,137],[120,137]]}'

declare -A settings=(
    [AutoGlareRemove]="face=$face"
    [BalanceLuma]="shadows=60 highlights=20 autoContrast=true"
    [BlendPalette]="alpha=160 palette=0:#203080ff,255:#ffa03080"
    [ColorBalanceAuto]="whiteBalance=true lightBalance=true"
    [BlurRadial]="mode=spin angle=20 strength=0.2"
    [ColorReduce]="reducedColor=red"
    [CreateVideo]="width=400 height=300 color=#3878a0"
    [DeepAutoRetoucher]="faces=[$face]"
    [DirectionalAreaDeformation]="fromX=250 fromY=120 toX=330 toY=120 size=200"
    [DrawFace]="faces=[$face]"
    [EdgeRemove]="fromX=20 fromY=30 toX=180 toY=60 radius=12"
    [EyeExtending]="strength=0.8 eyes=$face"
    [FaceMask]="mode=head+eyes useBlur=true face=$face"
    [FaceRecognition]="faceRect=[10,10,200,180]"
    [FaceThinning]="strength=0.8 outline=$face"
    [Segmentation]="demoMode=true alpha=160 smooth=2"
    [TintTemperature]="temperature=40 tint=-10"
    [WhiteBalance]="color=#c8b496"
)

# The names of all effects that the program KALVATRI offers on the command line, without the host's own steps.
list_effects() { # KALVATRI
    "$1" list --json | awk -F'"' '$2 == "effect" { name = $4 } $2 == "group" && $4 != "Host" { print name }' |
        grep -vx Custom
}
